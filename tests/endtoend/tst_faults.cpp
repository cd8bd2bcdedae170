#include "launcher/Outcome.h"
#include "tests/endtoend/FaultPlan.h"
#include "tests/endtoend/UpdaterRun.h"
#include "upgrade/InputReport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>

namespace {

// Far above what a run takes, for machines under load.
constexpr int endTimeoutMs = 120000;
constexpr int pollMs = 10;
/// So long after its last packet, a microphone sends no more verdict: above four times the
/// longest `quiet` and the longest delays.
constexpr int settleMs = 2500;
constexpr int openingPackets = 3;
constexpr int wholePercent = 100;
constexpr int traceBytesShown = 4000;

/// Seeds outside the usual range that have found something: the rounding of a percentage, and a
/// killed updater's exit code on wine.
const QList<quint64> foundSomething = {4102, 111};

/// The percentages of a whole upgrade, one for each step that docs/protocol.md counts.
QList<int> progressOf(int packets)
{
    constexpr int batch = 5;
    QList<int> steps;
    int sent = 0;
    // 58 of 200 packets are 28 % in floating point.
    const auto add = [&] { steps += static_cast<int>(sent * 1.0 / packets * wholePercent); };
    for (int i = 0; i < packets; ++i) {
        sent = i < openingPackets ? 0 : i - (i - openingPackets) % batch;
        add();
    }
    for (++sent; sent <= packets; ++sent)
        add();
    return steps;
}

} // namespace

/// Runs that seeds draw (FaultPlan). No particular result is expected. In every run,
///  a. the updater ends, or the microphone's trace says why it waits;
///  b. it ends with code 0, unless it is killed;
///  c. the result file keeps its grammar and order, and only grows;
///  d. the outcome is the microphone's, and not a success if the microphone could see a loss;
///  e. the schedule's packets are written, all of them, in order, and nothing else;
///  f. nothing is left behind, and no sanitizer complains;
///  g. what velmo-flash says agrees with all that.
///
/// VELMO_SEED is the first seed (default 1, and those that have found something) and VELMO_RUNS the
/// number of seeds (default 24). VELMO_SHARD="0/4" selects every fourth of them.
class FaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void whatever_happens_data()
    {
        const QStringList shard = qEnvironmentVariable("VELMO_SHARD", "0/1").split('/');
        const quint64 first = qEnvironmentVariable("VELMO_SEED", "1").toULongLong();
        const int runs = qEnvironmentVariable("VELMO_RUNS", "24").toInt();
        QList<quint64> seeds;
        for (int i = 0; i < runs; ++i)
            seeds += first + static_cast<quint64>(i);
        if (!qEnvironmentVariableIsSet("VELMO_SEED"))
            seeds += foundSomething;
        QTest::addColumn<quint64>("seed");
        for (int i = shard.first().toInt(); i < seeds.size(); i += shard.last().toInt())
            QTest::newRow(QByteArray::number(seeds.at(i)).constData()) << seeds.at(i);
    }

    void whatever_happens()
    {
        QFETCH(quint64, seed);
        plan = std::make_unique<FaultPlan>(seed);
        run = std::make_unique<UpdaterRun>();
        faults.clear();
        incidents = 0;
        disturbed = false;
        image = run->makeFirmware(plan->imageName, {"--sizes", plan->recordSizes.join(',')});
        packets = plan->packetsOf(UpdaterRun::contentOf(run->path(qPrintable(plan->imageName))));
        traceFile.close();
        traceFile.setFileName(run->path("trace.txt"));
        do {
            startUpdater();
            follow();
            check();
        } while (ending == Ending::Killed && faults.isEmpty());
        if (faults.isEmpty())
            return;
        for (const FaultPlan::Incident &each : plan->incidents)
            qWarning() << "drawn:" << each.event << "after" << each.writes << "writes";
        qWarning().noquote() << "drawn:" << plan->imageName << plan->packets << plan->simulator
                             << "\nagain: scripts/soak --runs 1 --seed" << seed << "--transport"
                             << qEnvironmentVariable("VELMO_TRANSPORT", "drop-in")
                             << QFileInfo(QCoreApplication::applicationDirPath()).dir().dirName()
                             << '\n' + faults.join('\n') << "\nthe microphone's trace:\n..."
                             << trace.right(traceBytesShown);
        QFAIL("see above");
    }

private:
    enum class Ending
    {
        Exited,
        /// The updater waited for a verdict that the microphone did not give, and the test ended
        /// it.
        Stayed,
        Killed,
        Hung
    };
    using Verdict = InputReport::Verdict;

    void startUpdater()
    {
        readFiles();
        trace.clear();
        killed = false;
        if (plan->byLauncher)
            run->startLauncher(QStringLiteral("--json --timeout 5 --log log.txt").split(' ')
                                   << image,
                               plan->simulator);
        else
            run->start({image}, plan->simulator);
    }

    void readFiles()
    {
        if (traceFile.isOpen() || traceFile.open(QIODevice::ReadOnly))
            trace += traceFile.readAll();
        // velmo-flash writes the updater's output to its log when it ends.
        output =
            plan->byLauncher ? UpdaterRun::contentOf(run->path("log.txt")) : run->debugOutput();
    }

    void follow()
    {
        QElapsedTimer sinceStart;
        QElapsedTimer sinceOver;
        sinceStart.start();
        QByteArray result;
        ending = Ending::Exited;
        while (ending == Ending::Exited && run->process.state() != QProcess::NotRunning &&
               !run->process.waitForFinished(pollMs)) {
            readFiles();
            while (incidents < plan->incidents.size() &&
                   trace.count(" write ") >= plan->incidents.at(incidents).writes)
                happen(plan->incidents.at(incidents++).event);
            // The updater empties the result file before it prints this, and then only appends.
            if (!disturbed && output.contains("kkkhhhhxxxxx ")) {
                const QByteArray grown = run->result();
                require(grown.startsWith(result), "c: the result file was rewritten");
                result = grown;
            }
            if (isOver() && !sinceOver.isValid())
                sinceOver.start();
            if (sinceOver.isValid() && sinceOver.elapsed() > settleMs && verdicts(true).isEmpty())
                ending = Ending::Stayed;
            else if (sinceStart.elapsed() > endTimeoutMs)
                ending = Ending::Hung;
        }
        if (ending == Ending::Stayed && qgetenv("VELMO_TRANSPORT") != "wine")
            checkDescriptors();
        run->kill();
        readFiles();
    }

    void checkDescriptors()
    {
        for (const qint64 process : run->processes("Velmo_KVX2_DFU")) {
            QStringList files;
            const QDir folder(QStringLiteral("/proc/%1/fd").arg(process));
            for (const QFileInfo &each :
                 folder.entryInfoList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System))
                files += each.symLinkTarget();
            files = files.filter(QRegularExpression("^(?!/dev/null|.*:)"));
            require(files.removeDuplicates() == 0, "f: open twice: " + files.join(' ').toUtf8());
        }
    }

    void happen(FaultPlan::Event event)
    {
        if (event == FaultPlan::Event::SecondUpdater) {
            startSecond();
        } else if (event == FaultPlan::Event::UpdaterKilled) {
            killed = true;
            for (const qint64 process : run->processes("Velmo_KVX2_DFU"))
                kill(static_cast<pid_t>(process), SIGKILL);
            if (!plan->byLauncher)
                ending = Ending::Killed;
        } else {
            const QString file = run->resultFile();
            disturbed = QFile::remove(file) || disturbed;
            if (event == FaultPlan::Event::ResultUnwritable)
                QDir().mkdir(file);
            else if (event == FaultPlan::Event::DiskFull)
                QFile::link("/dev/full", file);
        }
    }

    void startSecond()
    {
        QProcess second;
        run->startSecond(&second, {image}, "silent=all");
        while (!second.waitForFinished(pollMs) && second.state() != QProcess::NotRunning &&
               run->process.state() != QProcess::NotRunning)
            run->process.waitForFinished(pollMs);
        if (run->process.state() == QProcess::NotRunning) {
            // The first updater has ended, so the second one may have run.
            disturbed = killed = true;
            second.kill();
            second.waitForFinished(endTimeoutMs);
            return;
        }
        require(second.exitStatus() == QProcess::NormalExit && second.exitCode() == 0,
                "b: the second updater's code");
        const QByteArray said = second.readAllStandardOutput() + second.readAllStandardError();
        require(said.isEmpty() &&
                    !UpdaterRun::contentOf(run->path("second-trace.txt")).contains(" write "),
                "e: the second updater has done something: " + said);
    }

    void check()
    {
        require(ending != Ending::Hung, "a: it does not end");
        if (ending == Ending::Exited && !plan->byLauncher) {
            require(plan->absent || !verdicts(false).isEmpty(), "a: it ended without a verdict");
            require(run->exitCode() == 0, "b: its code is " + QByteArray::number(run->exitCode()));
        }
        checkResult();
        checkPackets();
        checkRemains();
        if (plan->byLauncher)
            checkLauncher();
    }

    void checkResult()
    {
        const QByteArray result = run->result();
        const QList<int> percentages = run->percentages();
        static const QRegularExpression grammar("\\A(\\d+%\n)*(success -?1)?\\z");
        require(grammar.match(result).hasMatch() &&
                    std::is_sorted(percentages.begin(), percentages.end()),
                "c: " + result);
        const bool success =
            run->outcome() == "success 1" || (plan->byLauncher && run->exitCode() == Outcome::Done);
        if (!disturbed) {
            // The first steps may come before the window listens for them.
            const QList<int> steps = progressOf(plan->packets);
            int skipped = 0;
            while (skipped <= openingPackets &&
                   steps.mid(skipped, percentages.size()) != percentages)
                ++skipped;
            require(skipped <= openingPackets, "c: not the schedule's steps: " + result);
            require(ending != Ending::Stayed || percentages.endsWith(wholePercent),
                    "c: no 100 %: " + result);
            require(plan->byLauncher || killed ||
                        (ending == Ending::Exited) == !run->outcome().isEmpty(),
                    "c: an outcome too many or too few: " + result);
            require(run->outcome() != "success -1" || plan->absent || hasSent(Verdict::Failed),
                    "d: a failure that nobody has reported");
        }
        require(!success || hasSent(Verdict::Succeeded), "d: a success that nobody has reported");
        // Without an entry packet the microphone has no seal, and cannot see a loss.
        bool sealed = false;
        QList<QByteArray> taken;
        for (const QByteArray &line : trace.split('\n')) {
            const QByteArray packet = packetOf(line);
            if (line.contains(" result=65 ") && packet == packets.first()) {
                sealed = true;
                taken.clear();
            } else if (line.contains(" result=65 ")) {
                taken += packet;
            } else if (line.contains("state=unplugged")) {
                sealed = false;
            }
        }
        require(!success || !sealed || plan->simulator.contains("success6") ||
                    taken == packets.mid(1),
                "d: a success after a loss");
    }

    void checkPackets()
    {
        QList<QByteArray> schedule = packets.mid(plan->upgrading ? 1 : 0);
        // If there are only three packets, all belong to the tail, so packet 0 is sent twice.
        if (plan->packets == openingPackets && !plan->upgrading)
            schedule.prepend(packets.first());
        QList<QByteArray> handedOut;
        for (const QByteArray &line : output.split('\n')) {
            if (!line.startsWith("dfuxxx------ "))
                continue;
            handedOut += QByteArray();
            for (const QByteArray &byte : line.simplified().split(' ').mid(1))
                handedOut.last() += static_cast<char>(byte.toInt(nullptr, 16));
        }
        require(handedOut == schedule.mid(0, handedOut.size()), "e: not the schedule's packets");
        const QByteArray whole = "0 ggg " + QByteArray::number(plan->packets);
        require(!isOver() || output.contains(whole) || !verdicts(false).isEmpty(), "e: the count");
        require(!output.contains(whole) || handedOut.size() == schedule.size(), "e: too few");
        int next = 0;
        int written = 0;
        for (const QByteArray &line : trace.split('\n')) {
            if (!line.contains(" write "))
                continue;
            next = schedule.indexOf(packetOf(line), next) + 1;
            ++written;
            require(next > 0, "e: not its turn: " + line);
            if (next == 0)
                return;
        }
        // Every packet handed out reaches the bus while the microphone is plugged in. The last one
        // may be missing when the updater ends.
        require(trace.contains(" departure ") ||
                    written >= handedOut.size() - (ending == Ending::Stayed ? 0 : 1),
                "e: not all was written");
    }

    void checkRemains()
    {
        for (const QByteArray &text : {output, run->debugOutput()})
            require(!text.contains("Sanitizer") && !text.contains("runtime error"), "f: " + text);
        int handles = 0;
        for (const QByteArray &line : trace.split('\n')) {
            handles +=
                (line.contains(" open ") && !line.contains("=none")) - line.contains(" close ");
            if (line.contains(" load "))
                handles = 0;
            require(handles <= 1, "f: two handles at a time");
        }
        // On wine a process is gone some time after its end is known.
        require(QTest::qWaitFor([this] { return run->processes("Velmo_KVX2_DFU").isEmpty(); },
                                endTimeoutMs),
                "f: a process is left");
        if (ending != Ending::Exited)
            return;
        const QDir folder(run->path("tmp"));
        QStringList left = folder.entryList(QDir::NoDotAndDotDot | QDir::AllEntries);
        // The toolkit's folder, the devices of a killed host, the segment of a killed updater.
        QStringList spared = {"runtime-*", "*umockdev*"};
        if (killed || (plan->byLauncher && run->exitCode() == Outcome::NoVerdict))
            spared += "qipc_sharedmem*";
        for (const QString &file : folder.entryList(spared))
            left.removeAll(file);
        require(left.isEmpty(), "f: left behind: " + left.join(' ').toLatin1());
    }

    void checkLauncher()
    {
        QJsonObject last;
        int percent = 0;
        for (const QByteArray &line : run->standardOutput().trimmed().split('\n')) {
            require(!last.contains("code"), "g: not the last line: " + line);
            last = QJsonDocument::fromJson(line).object();
            const int next = last.value("percent").toInt(percent);
            require(!last.isEmpty() && next >= percent && (next < wholePercent || isOver()),
                    "g: " + line);
            percent = next;
        }
        const QString said = last.value("message").toString();
        const auto means = [&](int code, bool isSo, const char *name, const char *phrase) {
            return run->exitCode() == code && isSo && last.value("code") == code &&
                   last.value("outcome") == name && said.contains(phrase);
        };
        require(
            means(Outcome::Done, hasSent(Verdict::Succeeded), "done", "was flashed") ||
                means(Outcome::Failed, hasSent(Verdict::Failed), "failed", "reported that") ||
                means(Outcome::NoMicrophone, plan->absent, "no-microphone", "Nothing was sent") ||
                means(Outcome::NoVerdict, isOver() && verdicts(true).isEmpty(), "no-verdict",
                      "did not report the result") ||
                // On wine a killed process may have exit code 0.
                means(Outcome::UpdaterFailed, killed, "updater-failed", "The updater "),
            "g: code " + QByteArray::number(run->exitCode()) + ", " + QJsonDocument(last).toJson());
        const QByteArray inFile = run->exitCode() == Outcome::Done     ? "success 1"
                                  : run->exitCode() == Outcome::Failed ? "success -1"
                                                                       : run->outcome();
        // The event may come after velmo-flash has read the file.
        const bool differs = said.contains("result file says");
        require(differs ? inFile != run->outcome() : disturbed || inFile == run->outcome(),
                "g: about the result file: " + said.toUtf8());
    }

    void require(bool holds, const QByteArray &fault)
    {
        if (!holds && !faults.contains(fault))
            faults += fault;
    }
    /// Whether the updater has handed out its last packet.
    bool isOver() const { return output.contains(" ggg "); }
    static QByteArray packetOf(const QByteArray &traceLine)
    {
        return QByteArray::fromHex(traceLine.mid(traceLine.indexOf(" data=") + 6));
    }

    /// The verdicts that the microphone sent. `reachable`: only those not lost by unplugging or
    /// queue overflow.
    QList<Verdict> verdicts(bool reachable) const
    {
        static const QRegularExpression form(
            " (send|dropped) .*data=.{8}0B.{4}(?:0([56])00|0[24]00|..01)");
        QList<Verdict> list;
        for (const QByteArray &line : trace.split('\n')) {
            const auto match = form.match(line);
            if (reachable && line.contains(" departure "))
                list.clear();
            else if (reachable && match.captured(1) == "dropped")
                list.removeFirst();
            else if (match.hasMatch())
                list += match.captured(2).isEmpty() ? Verdict::Failed : Verdict::Succeeded;
        }
        return list;
    }

    bool hasSent(Verdict verdict) const { return verdicts(false).contains(verdict); }

    std::unique_ptr<FaultPlan> plan;
    std::unique_ptr<UpdaterRun> run;
    QString image;
    QList<QByteArray> packets;
    QList<QByteArray> faults;
    /// Number of events that have happened.
    int incidents = 0;
    QFile traceFile;
    /// The trace and output of the latest updater.
    QByteArray trace;
    QByteArray output;
    Ending ending = Ending::Exited;
    /// Whether an event changed the result file, and whether one killed the updater.
    bool disturbed = false;
    bool killed = false;
};

QTEST_GUILESS_MAIN(FaultsTest)
#include "tst_faults.moc"
