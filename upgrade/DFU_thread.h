#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QThread>

class DevOperator;

/// The worker thread, the only reader of the microphone's input reports. It runs until the
/// process ends.
class DFU_thread : public QThread
{
    Q_OBJECT

public:
    explicit DFU_thread(QObject *parent)
        : QThread(parent)
    {
    }

    /// One round of run(): reads a report if the link is ready.
    void onePass();

    /// Set right after construction; not owned.
    DevOperator *devOperator = nullptr;

protected:
    void run() override;

private:
    /// Empty and not used.
    QList<QByteArray> reports;
    /// Held during each round. No other thread locks it.
    QMutex runMutex;
};
