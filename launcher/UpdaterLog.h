#pragma once

#include "launcher/Progress.h"
#include "upgrade/InputReport.h"

#include <QByteArray>
#include <QString>

/// Parses the updater's output, which tells how a run goes (device/outputLines.h).
///
/// It looks for ASCII lines, which are the same in every locale. The output must go to a file:
/// the updater drops lines if a pipe is full.
struct UpdaterLog
{
    using Verdict = InputReport::Verdict;

    /// Adds the output since the last call. An unfinished line is kept until it ends.
    void append(const QByteArray &bytes);

    Progress::Phase phase() const;
    /// How much of the image was sent. 100 only if all of it was.
    int percent() const;

    /// Whether the updater has started its work. If another one is running it ends without
    /// printing this line.
    bool hasBegun = false;
    /// Whether the microphone was opened. If not, nothing was sent.
    bool hasOpened = false;
    /// Whether the whole image was sent.
    bool hasSentAll = false;
    /// Packets of the image, including packet 0; 0 if the image was not read yet.
    int packets = 0;
    /// Packets handed to the system. The first one is the upgrade-mode command, unless the
    /// microphone was in upgrade mode from the start.
    int sent = 0;
    /// The first verdict that the microphone reported.
    Verdict verdict = Verdict::None;
    /// Why the updater refused the image; empty if it did not.
    QString refusal;

private:
    void parseLine(const QByteArray &line);

    QByteArray unfinished;
};
