#pragma once

#include "upgrade/InputReport.h"

#include <QByteArray>
#include <QString>

/// What the updater's output tells: all that is known of a run (device/outputLines.h).
///
/// The lines looked for are ASCII, so that they read the same under every locale.
/// Complete only if the output goes into a file: into a pipe the updater leaves out
/// lines that would have to wait.  Pure, any thread.
class UpdaterLog
{
public:
    using Verdict = InputReport::Verdict;

    /// What was written since the last call; a line counts when its end is there.
    void take(const QByteArray &bytes);
    /// The updater has ended: what is left is a line, too.
    void finish();

    /// It is the only updater and goes to work.  One that finds another running
    /// ends without a line.
    bool hasBegun() const { return begun; }
    /// The microphone was opened; without this nothing can have been sent.
    bool hasOpened() const { return opened; }
    /// Packets of the image, packet 0 included; 0: the image is not read yet.
    int packets() const { return packetCount; }
    /// Packets handed to the system so far; the first is the upgrade-mode command, but for
    /// a microphone that was in upgrade mode from the start.
    int packetsSent() const { return sentCount; }
    /// The transfer came to the image's end.
    bool hasSentAll() const { return sentAll; }
    /// Of the packets; 100 when the last one is out, and not before.
    int percent() const;
    /// What the microphone reported; the first time counts.
    Verdict verdict() const { return reported; }
    /// Why the updater did not take the image; empty: it did, or never looked.
    const QString &refusal() const { return refusalText; }

private:
    void takeLine(const QByteArray &line);
    void takeEnd(const QByteArray &line);

    QByteArray unfinished;
    bool begun = false;
    bool opened = false;
    bool sentAll = false;
    int packetCount = 0;
    int sentCount = 0;
    Verdict reported = Verdict::None;
    QString refusalText;
};
