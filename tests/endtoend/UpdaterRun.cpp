#include "tests/endtoend/UpdaterRun.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sched.h>
#include <sys/shm.h>

namespace {

const QByteArray transport = qEnvironmentVariable("VELMO_TRANSPORT", "drop-in").toLatin1();
const bool onWine = transport == "wine";

/// The updater, or a host program that connects the microphone, starts the updater, ends with its
/// exit code, and ends it when it is killed.
QStringList updaterCommand()
{
    const QString updater = VELMO_BINARY_DIR "/bin/Velmo_KVX2_DFU";
    if (onWine)
        return {"wine", VELMO_BINARY_DIR "/../windows/simulator/windows/velmo-sim-wine.exe",
                qEnvironmentVariable("VELMO_WINDOWS_PROGRAM")};
    if (transport == "umockdev")
        return {VELMO_BINARY_DIR "/bin/velmo-sim-umockdev", updater};
    if (transport != "drop-in")
        qFatal("VELMO_TRANSPORT: there is no transport '%s'", transport.constData());
    return {updater};
}

/// Gives this test's updaters a namespace of their own for shared memory. The key of a segment has
/// only 16 bits of its key file's inode, so updaters of tests that run side by side would meet now
/// and then. Only root can do that.
[[maybe_unused]] const int ownSharedMemory = onWine ? 0 : unshare(CLONE_NEWIPC);

} // namespace

UpdaterRun::UpdaterRun()
{
    QDir(home.path()).mkdir("data");
    QDir(home.path()).mkdir("tmp");
    process.setStandardOutputFile(path("stdout.txt"));
    process.setStandardErrorFile(path("stderr.txt"));
    // The result file may be outside the home, and an earlier run may have left a file or a
    // folder there.
    QDir().rmdir(resultFile());
    QFile::remove(resultFile());
}

UpdaterRun::~UpdaterRun()
{
    kill();
    // The shared memory of a killed updater would stay until the machine restarts.
    for (const QString &file : QDir(path("tmp")).entryList({"qipc_*"})) {
        // The toolkit makes the key in the same way.
        const key_t key = ftok(QFile::encodeName(path("tmp/") + file).constData(), 'Q');
        const int id = shmget(key, 0, 0);
        shmid_ds state{};
        // Another home's updater may have the same key, and it is running.
        if (shmctl(id, IPC_STAT, &state) == 0 && state.shm_nattch == 0)
            shmctl(id, IPC_RMID, nullptr);
    }
}

QString UpdaterRun::makeFirmware(const QString &name, const QStringList &options)
{
    QProcess::execute(VELMO_BINARY_DIR "/bin/velmo-mkfirmware",
                      options + QStringList{home.filePath(name)});
    // The path decides which microphone is selected. The home's path has random letters, so it is
    // left out.
    return "./" + name;
}

QString UpdaterRun::makePlainImage(const char *options)
{
    return makeFirmware("TB210.bin", QString::fromLatin1(options).split(' '));
}

void UpdaterRun::launch(QProcess *updater, const QStringList &command, const QByteArray &simulator,
                        const char *trace) const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(variable);
    environment.insert("LC_ALL", "C.UTF-8");
    environment.insert("HOME", home.path());
    environment.insert("XDG_DATA_HOME", path("data"));
    environment.insert("TMPDIR", path("tmp"));
    if (onWine) {
        // Programs find wine's server through TMPDIR. Windows programs have no offscreen platform
        // to fall back on.
        environment.insert("TMPDIR", QDir::tempPath());
        environment.insert("DISPLAY", qEnvironmentVariable("DISPLAY"));
    } else if (transport == "drop-in") {
        environment.insert("LD_LIBRARY_PATH", VELMO_BINARY_DIR "/simulator");
    }
    environment.insert("VELMO_SIM", simulator);
    environment.insert("VELMO_SIM_TRACE", path(trace));
    updater->setProcessEnvironment(environment);
    updater->setWorkingDirectory(home.path());
    updater->start(command.first(), command.mid(1));
}

void UpdaterRun::start(const QStringList &arguments, const QByteArray &simulator)
{
    startInShell("exec \"$0\" \"$@\"", arguments, simulator);
}

void UpdaterRun::startInShell(const QByteArray &commands, const QStringList &arguments,
                              const QByteArray &simulator)
{
    QStringList command = updaterCommand();
    if (!otherProgram.isEmpty())
        command.last() = otherProgram;
    launch(&process, QStringList{"sh", "-c", commands} + command + arguments, simulator,
           "trace.txt");
}

void UpdaterRun::startLauncher(const QStringList &arguments, const QByteArray &simulator)
{
    // It is in the same folder as the updater.
    otherProgram = QFileInfo(updaterCommand().last()).path() + "/velmo-flash";
    if (onWine)
        otherProgram += ".exe";
    start(arguments, simulator);
}

void UpdaterRun::startSecond(QProcess *second, const QStringList &arguments,
                             const QByteArray &simulator) const
{
    QStringList command = updaterCommand();
    if (onWine)
        command.removeAt(1); // the second updater uses the bus of the current run
    launch(second, command + arguments, simulator, "second-trace.txt");
}

bool UpdaterRun::waitForExit(int milliseconds)
{
    return process.state() == QProcess::NotRunning || process.waitForFinished(milliseconds);
}

int UpdaterRun::exitCode()
{
    return waitForExit() && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

bool UpdaterRun::waitForResultEnd(const QByteArray &text, int milliseconds) const
{
    const auto isOver = [&] {
        return result().endsWith(text) || process.state() == QProcess::NotRunning;
    };
    return QTest::qWaitFor(isOver, milliseconds) && result().endsWith(text);
}

void UpdaterRun::kill()
{
    process.kill();
    process.waitForFinished();
}

QString UpdaterRun::resultFile() const
{
    return onWine ? qEnvironmentVariable("VELMO_WINDOWS_RESULT")
                  : path("data/CorvoUpgrade/Firmware_bin.txt");
}

QByteArray UpdaterRun::contentOf(const QString &path)
{
    QFile file(path);
    return QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly) ? file.readAll()
                                                                      : QByteArray();
}

QByteArray UpdaterRun::result() const
{
    constexpr char lineEnd = '\0'; // no result contains it
    return contentOf(resultFile())
        .replace(onWine ? "\r\n" : "\n", QByteArray(1, lineEnd))
        // Wrong line ends become visible text, so comparisons fail.
        .replace('\n', "<LF>")
        .replace('\r', "<CR>")
        .replace(lineEnd, "\n");
}

QList<int> UpdaterRun::percentages() const
{
    QList<int> percentages;
    for (const QString &line : QString(result()).split('\n').filter("%"))
        percentages += line.chopped(1).toInt();
    return percentages;
}

QStringList UpdaterRun::traceLines(const QString &text) const
{
    return QString::fromUtf8(contentOf(path("trace.txt"))).split('\n').filter(text);
}

int UpdaterRun::packetsTaken() const
{
    return traceLines(" write packet=").filter(" result=65 ").size();
}

QList<qint64> UpdaterRun::processes(const char *name) const
{
    QList<qint64> found;
    const QByteArray mark = "HOME=" + QFile::encodeName(home.path());
    for (const QString &id : QDir("/proc").entryList({"[0-9]*"})) {
        const auto words = [&id](const char *file) {
            return contentOf("/proc/" + id + file).split('\0');
        };
        // On wine it has backslashes, and the package's folder has the updater's name in it, too.
        const QByteArray program = words("/cmdline").first().replace('\\', '/');
        if (words("/environ").contains(mark) && program.split('/').last().startsWith(name))
            found += id.toLongLong();
    }
    return found;
}
