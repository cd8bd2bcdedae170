#pragma once

#include <QElapsedTimer>
#include <QThread>

/// How the operator's loops tell and spend time.  Tests put a clock of their own here, on
/// which hours pass at once.
class TransferClock
{
public:
    TransferClock() { sinceStart.start(); }
    Q_DISABLE_COPY_MOVE(TransferClock)
    virtual ~TransferClock() = default;

    /// Milliseconds of a clock that never goes back.
    virtual qint64 now() { return sinceStart.elapsed(); }
    /// Sleeps the calling thread.
    virtual void sleep(int milliseconds)
    {
        QThread::msleep(static_cast<unsigned long>(milliseconds));
    }

private:
    QElapsedTimer sinceStart;
};
