#pragma once

#include "upgrade/InputReport.h"

#include <QByteArray>
#include <QString>

/// Parses the updater's output, which tells how a run goes (device/outputLines.h).
///
/// It looks for ASCII lines, which are the same in every locale. The output must go to a file:
/// the updater drops lines if a pipe is full.
class UpdaterLog
{
public:
    using Verdict = InputReport::Verdict;

    /// Adds the output since the last call. Unfinished lines are kept until they end.
    void append(const QByteArray &bytes);
    /// Parses an unfinished last line when the updater has ended.
    void finish();

    /// Whether the updater has started its work. If another one is running it ends without
    /// printing this line.
    bool hasBegun() const { return begun; }
    /// Whether the microphone was opened. If not, nothing was sent.
    bool hasOpened() const { return opened; }
    /// Packets of the image, including packet 0; 0 if the image was not read yet.
    int packets() const { return packetCount; }
    /// Packets handed to the system. The first one is the upgrade-mode command, unless the
    /// microphone was in upgrade mode from the start.
    int packetsSent() const { return sentCount; }
    /// Whether the whole image was sent.
    bool hasSentAll() const { return sentAll; }
    /// How much of the image was sent. 100 only if all of it was.
    int percent() const;
    /// The first verdict that the microphone reported.
    Verdict verdict() const { return reported; }
    /// Why the updater refused the image; empty if it did not.
    const QString &refusal() const { return refusalText; }

private:
    void parseLine(const QByteArray &line);
    void parseTransferOver(const QByteArray &line);

    QByteArray unfinished;
    bool begun = false;
    bool opened = false;
    bool sentAll = false;
    int packetCount = 0;
    int sentCount = 0;
    Verdict reported = Verdict::None;
    QString refusalText;
};
