#pragma once

#include "launcher/ResultFollower.h"

#include <QByteArray>
#include <QString>

/// What the updater's own output tells that its result file does not.
///
/// The lines looked for are ASCII, so that they read the same under every locale.
/// Complete only if the output goes into a file: into a pipe the updater leaves out
/// lines that would have to wait.  Pure, any thread.
class UpdaterLog
{
public:
    /// What was written since the last call; a line counts when its end is there.
    void take(const QByteArray &bytes);
    /// The updater has ended: what is left is a line, too.
    void finish();

    /// It is the only updater and goes to work.  One that finds another running
    /// ends without a line.
    bool hasBegun() const { return begun; }
    /// The result file holds nothing of an earlier run any more.
    bool hasEmptiedResult() const { return resultEmptied; }
    /// The microphone was opened; without this nothing can have been sent.
    bool hasOpened() const { return opened; }
    /// Packets handed to the system so far; the first is the upgrade-mode command, but for
    /// a microphone that was in upgrade mode from the start.
    int packetsSent() const { return sentCount; }
    /// What the microphone reported.  Of this run for sure, as the result file's is not:
    /// another updater may write there as soon as this one has ended.
    ResultFollower::Verdict verdict() const { return reported; }
    /// Why the updater did not take the image; empty: it did, or never looked.
    const QString &refusal() const { return refusalText; }

private:
    void takeLine(const QByteArray &line);

    QByteArray unfinished;
    bool begun = false;
    bool resultEmptied = false;
    bool opened = false;
    int sentCount = 0;
    ResultFollower::Verdict reported = ResultFollower::Verdict::None;
    QString refusalText;
};
