#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QThread>

class DevOperator;

/// The worker thread: the only reader of the microphone's input reports.
///
/// It never stops; it ends with the process.
class DFU_thread : public QThread
{
    Q_OBJECT

public:
    explicit DFU_thread(QObject *parent)
        : QThread(parent)
    {
    }

    /// One round of run(): a poll if the link is ready.
    void onePass();

    /// Set right after construction; not owned.
    DevOperator *devOperator = nullptr;

protected:
    void run() override;

private:
    /// Created empty and not used.
    QList<QByteArray> reports;
    /// Held around each poll.  Nobody else takes it, so it excludes nothing.
    QMutex runMutex;
};
