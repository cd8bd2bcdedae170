#pragma once

#include <QByteArrayList>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

struct Scenario;

/// How the simulated microphone is connected to the program of a run.  VELMO_TRANSPORT
/// chooses one for all runs of a test program; the drop-in library unless it is set.
class Transport
{
public:
    virtual ~Transport() = default;

    Transport(const Transport &) = delete;
    Transport &operator=(const Transport &) = delete;
    Transport(Transport &&) = delete;
    Transport &operator=(Transport &&) = delete;

    static const Transport &chosen();

    /// The updater itself; or, where something has to stand around it that connects the
    /// microphone, that, with the updater behind it.  The first is the program.  It gets
    /// VELMO_SIM and VELMO_SIM_TRACE, ends with the updater and with its exit code, and
    /// takes the updater along when it is killed.
    virtual QStringList command() const = 0;
    /// The same for another updater beside the one of a run.
    virtual QStringList secondCommand() const { return command(); }
    /// Changes what a run's environment has besides.
    virtual void prepare(QProcessEnvironment *environment) const = 0;
    /// Of a run whose home is this.
    virtual QString resultFile(const QString &home) const = 0;
    /// Removes what an earlier run may have left outside its home.
    virtual void clean() const {}
    /// The result file's line end there.
    QByteArray lineEnd() const { return resultLineEnd; }
    /// Whether the microphone can do there what the scenario's settings ask for.
    bool offers(const Scenario &scenario) const;

protected:
    Transport(QByteArray lineEnd, QByteArrayList refused);

private:
    QByteArray resultLineEnd;
    QByteArrayList refusedSettings;
};
