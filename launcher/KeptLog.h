#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

/// The file of --log: a copy of the updater's output.
///
/// The updater itself writes elsewhere.  So a run that finds another updater at work
/// leaves the file alone, which may be the other run's.  Main thread.
class KeptLog
{
public:
    /// Empty: nothing is kept.
    explicit KeptLog(const QString &path);

    /// Why nothing can be kept there; empty: it can.  Makes the file if there is none;
    /// what it holds stays.
    QString obstacle();

    /// What the updater said, in order.
    void take(const QByteArray &bytes);
    /// From now on the file is this run's: what it held is replaced.
    void claim();

    /// Why the file is not complete, once; empty: it is, or that was told before.
    QString newFault();

private:
    void write(const QByteArray &bytes);

    QFile file;
    QByteArray waiting;
    bool faultTold = false;
};
