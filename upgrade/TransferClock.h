#pragma once

#include <QElapsedTimer>
#include <QThread>

/// The clock of the operator's loops. Tests replace it by one on which hours pass at once.
class TransferClock
{
public:
    TransferClock() { sinceStart.start(); }
    Q_DISABLE_COPY_MOVE(TransferClock)
    virtual ~TransferClock() = default;

    /// Milliseconds since the start. Never goes back.
    virtual qint64 now() { return sinceStart.elapsed(); }
    virtual void sleep(int milliseconds)
    {
        QThread::msleep(static_cast<unsigned long>(milliseconds));
    }

private:
    QElapsedTimer sinceStart;
};
