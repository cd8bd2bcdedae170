#include "tests/endtoend/UpdaterRun.h"

#include "tests/endtoend/Transport.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <sys/shm.h>

namespace {

constexpr int toolTimeoutMs = 30000;
constexpr int killTimeoutMs = 10000;
constexpr int pollMs = 10;

/// Set by the build; see CMakeLists.txt.
QString programPath(const char *name)
{
    return QDir(QStringLiteral(VELMO_BINARY_DIR)).filePath(QString::fromLatin1(name));
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

UpdaterRun::UpdaterRun()
{
    QDir(home.path()).mkdir(QStringLiteral("data"));
    QDir(home.path()).mkdir(QStringLiteral("tmp"));
    process.setWorkingDirectory(home.path());
    process.setStandardOutputFile(path("stdout.txt"));
    process.setStandardErrorFile(path("stderr.txt"));
    // What an earlier run may have left outside its home.
    if (QFile::exists(resultFile()) && !QFile::remove(resultFile()))
        qFatal("%s: cannot be removed", qPrintable(resultFile()));
}

UpdaterRun::~UpdaterRun()
{
    kill();
    // What a killed updater leaves behind would stay until the machine restarts.
    for (const QString &file : QDir(path("tmp")).entryList({QStringLiteral("qipc_*")})) {
        // As the toolkit makes it.
        const key_t key = ftok(QFile::encodeName(path("tmp/") + file).constData(), 'Q');
        shmctl(shmget(key, 0, 0), IPC_RMID, nullptr);
    }
}

QString UpdaterRun::makeFirmware(const QString &name, const QStringList &options)
{
    QProcess tool;
    tool.start(programPath("bin/velmo-mkfirmware"), options + QStringList{home.filePath(name)});
    if (!tool.waitForFinished(toolTimeoutMs) || tool.exitCode() != 0)
        qWarning() << "velmo-mkfirmware:" << tool.errorString() << tool.readAllStandardError();
    // The path decides which microphone is meant, and the home's own has random
    // letters in it.
    return QLatin1String("./") + name;
}

QString UpdaterRun::makePlainImage()
{
    return makeFirmware(QStringLiteral("TB210.bin"),
                        QStringLiteral("--records 6 --size 100").split(QLatin1Char(' ')));
}

QProcessEnvironment UpdaterRun::environment(const QByteArray &simulator, const QString &trace) const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(QString::fromLatin1(variable));
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("HOME"), home.path());
    environment.insert(QStringLiteral("XDG_DATA_HOME"), path("data"));
    environment.insert(QStringLiteral("TMPDIR"), path("tmp"));
    const QMap<QString, QString> &besides = Transport::chosen().environment;
    for (auto variable = besides.begin(); variable != besides.end(); ++variable)
        environment.insert(variable.key(), variable.value());
    if (!display.isEmpty()) {
        environment.insert(QStringLiteral("DISPLAY"), display);
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    }
    environment.insert(QStringLiteral("VELMO_SIM"), QString::fromLatin1(simulator));
    environment.insert(QStringLiteral("VELMO_SIM_TRACE"), trace);
    return environment;
}

void UpdaterRun::start(const QStringList &arguments, const QByteArray &simulator)
{
    process.setProcessEnvironment(environment(simulator, path("trace.txt")));
    QStringList command = Transport::chosen().command + arguments;
    const QString program = command.takeFirst();
    process.start(program, command);
    QVERIFY2(process.waitForStarted(toolTimeoutMs), qPrintable(process.errorString()));
}

void UpdaterRun::startInShell(const QByteArray &commands, const QStringList &arguments,
                              const QByteArray &simulator)
{
    process.setProcessEnvironment(environment(simulator, path("trace.txt")));
    process.start(QStringLiteral("sh"),
                  QStringList{QStringLiteral("-c"), QString::fromLatin1(commands)} +
                      Transport::chosen().command + arguments);
    QVERIFY2(process.waitForStarted(toolTimeoutMs), qPrintable(process.errorString()));
}

void UpdaterRun::startSecond(QProcess *second, const QStringList &arguments,
                             const QByteArray &simulator) const
{
    second->setWorkingDirectory(home.path());
    second->setProcessEnvironment(environment(simulator, path("second-trace.txt")));
    QStringList command = Transport::chosen().secondCommand + arguments;
    const QString program = command.takeFirst();
    second->start(program, command);
}

bool UpdaterRun::waitForExit(int milliseconds)
{
    return process.state() == QProcess::NotRunning || process.waitForFinished(milliseconds);
}

bool UpdaterRun::waitForResultEnd(const QByteArray &text, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (!result().endsWith(text)) {
        if (timer.elapsed() > milliseconds || process.waitForFinished(pollMs))
            return result().endsWith(text);
    }
    return true;
}

void UpdaterRun::kill()
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.kill();
    process.waitForFinished(killTimeoutMs);
}

QString UpdaterRun::resultFile() const
{
    return QDir(home.path()).filePath(Transport::chosen().resultFile);
}

QByteArray UpdaterRun::result() const
{
    constexpr char lineEnd = '\0'; // in no result
    return contentOf(resultFile())
        .replace(Transport::chosen().lineEnd, QByteArray(1, lineEnd))
        // An end that is none there is left as what no test expects.
        .replace('\n', "<LF>")
        .replace('\r', "<CR>")
        .replace(lineEnd, "\n");
}

QList<int> UpdaterRun::percentages() const
{
    QList<int> percentages;
    for (const QByteArray &line : result().split('\n')) {
        if (line.endsWith('%'))
            percentages += line.chopped(1).toInt();
    }
    return percentages;
}

QStringList UpdaterRun::traceLines(const QString &text) const
{
    return QString::fromUtf8(contentOf(path("trace.txt"))).split(QLatin1Char('\n')).filter(text);
}

QByteArray UpdaterRun::debugOutput() const
{
    return contentOf(path("stderr.txt"));
}

int UpdaterRun::packetsTaken() const
{
    return traceLines(QStringLiteral(" write packet="))
        .filter(QStringLiteral(" result=65 "))
        .size();
}

QByteArray UpdaterRun::standardOutput() const
{
    return contentOf(path("stdout.txt"));
}
