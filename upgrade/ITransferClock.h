#pragma once

#include <QtGlobal>

/// How the operator's loops tell and spend time.  Tests put a clock of their own
/// here, whose hours pass at once.
class ITransferClock
{
public:
    ITransferClock() = default;
    Q_DISABLE_COPY_MOVE(ITransferClock)
    virtual ~ITransferClock() = default;

    /// Milliseconds of a clock that never goes back.
    virtual qint64 now() = 0;
    /// Sleeps the calling thread.
    virtual void sleep(int milliseconds) = 0;
};
