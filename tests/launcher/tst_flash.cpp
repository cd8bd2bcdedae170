#include "launcher/Outcome.h"
#include "tests/endtoend/UpdaterRun.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTest>

#include <algorithm>
#include <csignal>

namespace {

// Far more than a run needs, for machines under load.
constexpr int endTimeoutMs = 90000;
/// The pause before another Ctrl-C.
constexpr int oneMoreMs = 1000;

const char *const quick = "silent=entry;enter-time=20";
const char *const quickFailure = "silent=entry;enter-time=20;verdict=failure2";
const char *const quickUnplugged = "silent=entry;enter-time=20;unplug-at=5;replug-after=50";
const char *const mute = "silent=all;enter-time=20";

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Writes a shell script to run instead of the updater. $R is its result file.
QString writeUpdater(const UpdaterRun &run, const QByteArray &script)
{
    QFile file(run.path("updater.sh"));
    const QByteArray words = "#!/bin/sh\n"
                             "R=$XDG_DATA_HOME/CorvoUpgrade/Firmware_bin.txt\n"
                             "opened() { echo createUI----; echo xxxxx 11 64; }\n"
                             "status() { echo \"qqqq  4b 0 0 0 b 0 0 $1 0 0\"; }\n";
    if (!file.open(QIODevice::WriteOnly) || file.write(words + script) == -1 ||
        !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
        qWarning() << file.errorString();
    return file.fileName();
}

void flash(UpdaterRun *run, const QStringList &arguments, const QByteArray &simulator)
{
    // It gets its own process group, as in a terminal, and settings that would hide and change
    // the updater's output.
    run->startInShell("export QT_LOGGING_RULES='*=false' QT_MESSAGE_PATTERN='> %{message}'; "
                      "exec setsid " VELMO_FLASH " --updater \"$0\" \"$@\"",
                      arguments, simulator);
}

/// The objects of a --json output, or nothing if a line is wrong.
QList<QJsonObject> strictlyParsed(const QByteArray &output)
{
    const QMap<QString, QString> keys = {
        {QStringLiteral("progress"), QStringLiteral("event percent phase seconds")},
        {QStringLiteral("outcome"), QStringLiteral("code event message outcome")},
        {QStringLiteral("microphone"), QStringLiteral("event id node opens path_rule product why")},
        {QStringLiteral("image"), QStringLiteral("bytes event microphone packets records "
                                                 "seconds_least seconds_most sha256 version")}};
    QList<QJsonObject> objects;
    if (!output.endsWith('\n'))
        return {};
    for (const QByteArray &line : output.chopped(1).split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        const QString event = object.value(QStringLiteral("event")).toString();
        if (!keys.contains(event) || object.keys().join(QLatin1Char(' ')) != keys.value(event))
            return {};
        objects.append(object);
    }
    return objects;
}

QStringList orderedPhases(const QStringList &some)
{
    QStringList all = QStringLiteral("starting entering sending verdict").split(QLatin1Char(' '));
    all.erase(std::remove_if(all.begin(), all.end(),
                             [&some](const QString &each) { return !some.contains(each); }),
              all.end());
    return all;
}

QSet<QString> allOf(const char *pattern, const QString &text)
{
    QSet<QString> found;
    auto match = QRegularExpression(QString::fromLatin1(pattern)).globalMatch(text);
    while (match.hasNext())
        found.insert(match.next().captured(1));
    return found;
}

} // namespace

/// velmo-flash as scripts use it.
class FlashTest : public QObject
{
    Q_OBJECT

private slots:
    void each_ending_has_its_code_data()
    {
        QTest::addColumn<QString>("image");
        QTest::addColumn<QStringList>("more");
        QTest::addColumn<QByteArray>("simulator");
        QTest::addColumn<QByteArray>("updater");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("phrase");
        const QString plain = QStringLiteral("TB210.bin");
        const auto row = [](const char *name, const QString &image, const QString &more,
                            const char *simulator, const char *updater, int code,
                            const char *phrase) {
            QTest::newRow(name) << image << more.split(QLatin1Char(' '), Qt::SkipEmptyParts)
                                << QByteArray(simulator) << QByteArray(updater) << code
                                << QString::fromLatin1(phrase);
        };
        row("flashed", plain, {}, quick, "", 0, "was flashed");
        row("a name like a URL", QStringLiteral("file.bin"), {}, quick, "", 0, "was flashed");
        row("a name like an option", QStringLiteral("-reverse"), {}, quick, "", 0, "was flashed");
        // It waits 7 s before it sends the firmware.
        row("longer than the time-out, but with progress", plain, QStringLiteral("--timeout 3"),
            "silent=data;enter-time=20;answer-delay=70", "", 0, "was flashed");
        row("unplugged and plugged back in", plain, QStringLiteral("--timeout 5"), quickUnplugged,
            "", 5, "If it was unplugged meanwhile");
        row("failed", plain, {}, quickFailure, "", 1, "reported");
        row("failed before a percentage", plain, {}, "",
            "opened; status 2; printf 'success -1' >$R", 1, "reported");
        row("no microphone", plain, {}, "devices=none", "", 2, "No microphone 3C9E:000B");
        row("another microphone", QStringLiteral("R5.bin"), {}, "devices=0101,000B", "", 2,
            "No microphone 3C9E:0010 was found. Nothing was sent. The image's path does not select "
            "what is plugged in (3C9E:0101 and 3C9E:000B)");
        row("plugged in a moment later", plain, {}, "devices=0010,000B", "echo createUI----", 2,
            "but it is plugged in now (/dev/velmo-sim1)");
        row("broken image", QStringLiteral("broken"), {}, "", "exit 1", 3,
            "record 6 at offset 511: length 100, but only 99 bytes are left");
        row("a line break in its name", QStringLiteral("a\nb.bin"), {}, "", "exit 1", 3,
            "rename it");
        row("no image", QStringLiteral("missing"), {}, "", "exit 1", 3, "No such file");
        const QString otherSum = QStringLiteral("--sha256 ") + QString(64, QLatin1Char('0'));
        row("another checksum", plain, otherSum, "", "exit 1", 3, "not 0000");
        row("another checksum, --inspect", plain, otherSum + QStringLiteral(" --inspect"), "", "",
            3, "its SHA-256 is ");
        row("a digit too many", plain, otherSum + QLatin1Char('0'), "", "exit 1", 64, "64 hexa");
        row("no digits", plain, QStringLiteral("--sha256 ") + QString(64, QLatin1Char('g')), "",
            "exit 1", 64, "64 hexa");
        row("image broken meanwhile", plain, {}, "",
            "opened; echo firmware refused: record 4 at offset 5: new", 3,
            "record 4 at offset 5: new");
        row("flashed, then failed and killed", plain, {}, "",
            "opened; status 6; status 2; kill -9 $$", 0, "was flashed");
        row("flashed, then hung", plain, {}, "", "opened; status 5; exec sleep 200", 0,
            "was flashed");
        row("a last line without its end", plain, {}, "", "opened; status 4 | tr -d '\\n'", 1,
            "reported");
        row("flashed, and another one came after it", plain, {}, "",
            "opened; status 5; printf 'success -1' >$R", 0, "another updater has used it");
        row("another one wrote the result", plain, {}, "", "opened; printf '60%%\nsuccess 1' >$R",
            6, "says something else");
        row("ended at once", plain, {}, "", "exit 0", 4, "updater.sh is not the updater");
        row("another one's result", plain, {}, "", "printf 'success 1' >$R; sleep 0.3", 4,
            "Another updater");
        row("no verdict", plain, QStringLiteral("--timeout 5"), mute, "", 5,
            "No progress for 5 s, so the updater was ended. The updater sent the whole image");
        row("not there", plain, QStringLiteral("--updater ./none"), "", "", 6, "./none is no file");
        row("not a program", plain, QStringLiteral("--updater ./TB210.bin"), "", "", 6, "started");
        row("died", plain, {}, "", "exit 1", 6, "code 1");
        row("killed midway", plain, {}, "",
            "opened; echo dfuxxx------ 0; echo dfuxxx------ 1; kill -9 $$", 6,
            "killed. Use --log FILE to keep its output. The microphone may be in upgrade mode, "
            "with incomplete");
        row("unknown option", plain, QStringLiteral("--fast"), "", "exit 1", 64, "fast");
        row("nothing to list", {}, QStringLiteral("--list"), "devices=046D:000B", "", 2,
            "No microphone is plugged in");
        row("list an image", plain, QStringLiteral("--list"), "", "", 64, "takes no image");
        row("list and look", {}, QStringLiteral("--list --dry-run"), "", "", 64, "Use only one of");
        row("two images", plain, QStringLiteral("a"), "", "exit 1", 64, "one image, not 2");
        row("no time", plain, QStringLiteral("--timeout 0"), "", "exit 1", 64, "1 to 86400");
        row("log over image", plain, QStringLiteral("--log TB210.bin"), "", "exit 1", 64, "--log");
        row("log over result", plain, QStringLiteral("--log data/CorvoUpgrade/Firmware_bin.txt"),
            "", "exit 1", 64, "--log");
        row("log over updater", plain, QStringLiteral("--log updater.sh"), "", "exit 1", 64,
            "--log");
        row("log into a device", plain, QStringLiteral("--log /dev/null"), "", "exit 1", 6,
            "/dev/null, which is not a file");
    }

    void each_ending_has_its_code()
    {
        QFETCH(QString, image);
        QFETCH(QByteArray, updater);
        QFETCH(int, code);
        QFETCH(QString, phrase);
        QFETCH(QStringList, more);
        QFETCH(QByteArray, simulator);
        UpdaterRun run;
        QStringList options = QStringLiteral("--records 6 --size 100").split(QLatin1Char(' '));
        if (image == QLatin1String("broken"))
            options += QStringLiteral("--broken record-past-end").split(QLatin1Char(' '));
        if (!image.isEmpty() && image != QLatin1String("missing"))
            run.makeFirmware(image, options);
        // The result of an earlier run must not count.
        QVERIFY(QDir().mkpath(run.path("data/CorvoUpgrade")));
        QFile earlier(run.path("data/CorvoUpgrade/Firmware_bin.txt"));
        QVERIFY(earlier.open(QIODevice::WriteOnly) && earlier.write("100%\nsuccess 1") > 0);
        earlier.close();
        if (!image.isEmpty())
            more += {QStringLiteral("--"), image};
        if (!updater.isEmpty())
            more = QStringList{QStringLiteral("--updater"), writeUpdater(run, updater)} + more;

        flash(&run, QStringList{QStringLiteral("--json")} + more, simulator);
        QVERIFY(run.waitForExit(endTimeoutMs));
        QCOMPARE(run.process.exitCode(), code);

        QList<QJsonObject> events = strictlyParsed(run.standardOutput());
        QVERIFY2(!events.isEmpty(), run.standardOutput().constData());
        const QJsonObject outcome = events.takeLast();
        QCOMPARE(outcome.value(QStringLiteral("code")).toInt(-1), code);
        const QString message = outcome.value(QStringLiteral("message")).toString();
        QVERIFY2(message.contains(phrase), qPrintable(message));
        int percent = 0;
        QStringList phases;
        for (const QJsonObject &event : events) {
            QCOMPARE(event.value(QStringLiteral("event")).toString(), QStringLiteral("progress"));
            const int now = event.value(QStringLiteral("percent")).toInt(-1);
            QVERIFY(now >= percent && now <= 100);
            percent = now;
            phases += event.value(QStringLiteral("phase")).toString();
        }
        phases.removeDuplicates();
        if (!simulator.isEmpty() && code == 0) {
            QCOMPARE(percent, 100);
            QCOMPARE(phases.last(), QStringLiteral("verdict"));
        }
        // A quick run may skip phases ...
        QCOMPARE(phases, orderedPhases(phases));
        // ... but not one that lasts for seconds.
        if (simulator.contains("answer-delay"))
            QVERIFY(phases.contains(QStringLiteral("entering")));
    }

    void a_second_one_says_so_and_disturbs_nothing()
    {
        UpdaterRun run;
        const QString image = run.makeFirmware(QStringLiteral("TB210.bin"), {});
        flash(&run,
              {QStringLiteral("--json"), image, QStringLiteral("--log"), QStringLiteral("log")},
              mute);
        const auto group = -static_cast<pid_t>(run.process.processId());
        // If the test fails, end the updater, too.
        const auto ending = qScopeGuard([&run, group] {
            while (run.process.state() != QProcess::NotRunning && ::kill(group, SIGINT) == 0)
                run.waitForExit(oneMoreMs);
        });
        QVERIFY(run.waitForResultEnd("100%\n", endTimeoutMs));
        const QByteArray result = run.result();
        // If this one started an updater by mistake, it would soon end again.
        const QStringList arguments = {image, QStringLiteral("--timeout"), QStringLiteral("1"),
                                       QStringLiteral("--log"), QStringLiteral("log")};
        QProcess second;
        second.setProcessEnvironment(run.process.processEnvironment());
        second.setWorkingDirectory(run.process.workingDirectory());
        second.start(QStringLiteral(VELMO_FLASH), arguments);
        QVERIFY(second.waitForFinished(endTimeoutMs));
        QCOMPARE(second.exitCode(), 4);
        QCOMPARE(run.result(), result);
        QCOMPARE(run.process.state(), QProcess::Running);

        // The first Ctrl-C leads to a question; the updater does not get it.
        QCOMPARE(::kill(group, SIGINT), 0);
        const auto hasAsked = [&run] { return run.debugOutput().contains("Press Ctrl-C again"); };
        QTRY_VERIFY_WITH_TIMEOUT(hasAsked() || run.process.state() == QProcess::NotRunning,
                                 endTimeoutMs);
        QVERIFY(hasAsked());
        second.start(QStringLiteral(VELMO_FLASH), arguments);
        QVERIFY(second.waitForFinished(endTimeoutMs));
        QCOMPARE(second.exitCode(), 4);
        QCOMPARE(::kill(group, SIGINT), 0);
        QVERIFY(run.waitForExit(endTimeoutMs));
        QCOMPARE(run.process.exitCode(), 130);
        // The question is not part of standard output.
        const QList<QJsonObject> events = strictlyParsed(run.standardOutput());
        QVERIFY2(!events.isEmpty(), run.standardOutput().constData());
        QVERIFY(events.last()
                    .value(QStringLiteral("message"))
                    .toString()
                    .contains(QLatin1String("ended on request. The updater sent the whole image")));
        const QByteArray log = contentOf(run.path("log"));
        // The second one has not written here.
        QVERIFY(log.startsWith("velmo-flash: starting ") && log.count("velmo-flash: ") == 1);
        QVERIFY(log.contains("\ncreateUI----\n"));
        // The updater has ended, so the next one can run.
        flash(&run, {image}, quick);
        QVERIFY(run.waitForExit(endTimeoutMs));
        QCOMPARE(run.process.exitCode(), 0);
        const QByteArray lines = run.standardOutput();
        QVERIFY2(lines.startsWith("0% after 0 s, looking for the microphone\n") &&
                     lines.contains("\n100% after ") &&
                     lines.endsWith("\nThe microphone was flashed. It can be used now.\n"),
                 lines.constData());
    }

    void an_image_is_described_without_sending_anything()
    {
        UpdaterRun run;
        const QString image = run.makeFirmware(
            QStringLiteral("TB210.bin"),
            QStringLiteral("--version 1.2.3 --sizes 100,64,65").split(QLatin1Char(' ')));
        flash(&run, {QStringLiteral("--inspect"), image}, {});
        QVERIFY(run.waitForExit(endTimeoutMs));
        QCOMPARE(run.process.exitCode(), 0);
        const QByteArray sum =
            QCryptographicHash::hash(contentOf(run.path("TB210.bin")), QCryptographicHash::Sha256);
        const QByteArray table = run.standardOutput().simplified();
        const QByteArray expected =
            "Version: V1.2.3 Size: 240 bytes SHA-256: " + sum.toHex() +
            " Record Offset Length Packets 0 0 11 1 1 11 100 2 2 111 64 1 3 175 65 2 ";
        QVERIFY2(table.startsWith(expected), table.constData());

        flash(&run,
              {QStringLiteral("--dry-run"), QStringLiteral("--json"), image,
               QStringLiteral("--sha256"), QString::fromLatin1(sum.toHex().toUpper())},
              {});
        QVERIFY(run.waitForExit(endTimeoutMs));
        const QList<QJsonObject> events = strictlyParsed(run.standardOutput());
        QCOMPARE(events.size(), 2);
        QCOMPARE(events.first().value(QStringLiteral("packets")).toInt(), 6);
        QCOMPARE(events.first().value(QStringLiteral("records")).toArray().size(), 4);
        QVERIFY(!QFile::exists(run.path("trace.txt")));
    }

    void what_is_plugged_in_is_listed()
    {
        UpdaterRun run;
        flash(&run, {QStringLiteral("--list")}, "devices=000B,046D:0101,0101,0010,0011,0065");
        QVERIFY(run.waitForExit(endTimeoutMs));
        QCOMPARE(run.process.exitCode(), 0);
        QByteArray expected;
        for (const char *line :
             {"000B  NAME  NODE0  selected by a path without \"R5\"  opens\n",
              "0101  NAME  NODE2  selected by no path  opens\n",
              "0010  NAME  NODE3  selected by a path with \"R5\" but not \"otg\"  opens\n",
              "0011  NAME  NODE4  selected by a path with \"R5\" and \"otg\"  opens\n",
              "0065  NAME  NODE5  selected by a path with \"R5\" and \"otg\"  opens\n"})
            expected += QByteArray("3C9E:") + line;
        expected.replace("NAME", "Velmo microphone (simulated)").replace("NODE", "/dev/velmo-sim");
        QCOMPARE(run.standardOutput(), expected);

        flash(&run, {QStringLiteral("--list"), QStringLiteral("--json")}, "devices=0065,000B");
        QVERIFY(run.waitForExit(endTimeoutMs));
        QCOMPARE(strictlyParsed(run.standardOutput()).size(), 3);
    }

    void the_manual_has_what_the_help_has()
    {
        QProcess program;
        program.start(QStringLiteral(VELMO_FLASH), {QStringLiteral("--help")});
        QVERIFY(program.waitForFinished(endTimeoutMs));
        const QString help = QString::fromUtf8(program.readAllStandardOutput());
        QString manual = QString::fromUtf8(contentOf(QStringLiteral(VELMO_FLASH_MANUAL)));
        const QSet<QString> options = allOf("\n  (?:-h, )?(--[a-z0-9-]+)", help);
        QCOMPARE(options.size(), 10);
        QCOMPARE(allOf("\n\\.It (?:Fl h , )?Fl (--[a-z0-9-]+)",
                       manual.replace(QLatin1String("Fl -"), QLatin1String("Fl --"))),
                 options);
        const QSet<QString> codes = allOf("\n  ([0-9]+)  ", help);
        QCOMPARE(codes.size(), 9);
        QCOMPARE(allOf("\n\\.It ([0-9]+)\n", manual), codes);
    }
};

QTEST_GUILESS_MAIN(FlashTest)
#include "tst_flash.moc"
