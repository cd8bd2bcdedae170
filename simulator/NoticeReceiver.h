#pragma once

#include <QObject>

namespace sim {

/// Lives in the thread that registered for notices and brings them to it through
/// its event loop.  The events are plain wake-up calls: what they are about waits
/// in the simulator, under its lock.
class NoticeReceiver : public QObject
{
public:
    NoticeReceiver();

    /// From any thread.
    void wake();

protected:
    bool event(QEvent *event) override;
};

} // namespace sim
