#include "tests/endtoend/UpdaterRun.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTest>

#include <csignal>
#include <vector>

namespace {

/// The pause before another Ctrl-C.
constexpr int oneMoreMs = 1000;

const char *const plain = "TB210.bin";
const char *const quick = UpdaterRun::quickMicrophone;
const char *const mute = UpdaterRun::silentMicrophone;

struct Ending
{
    const char *name;
    int code;
    /// Part of the last phase, its percentage and the message.
    const char *phrase;
    const char *more = "";
    const char *simulator = "";
    /// A script to run instead of the updater.
    const char *updater = "";
    const char *image = plain;
};

const std::vector<Ending> endings = {
    {"a name like a URL", 0, "verdict 100% The microphone was fl", "", quick, "", "file.bin"},
    {"a name like an option", 0, "verdict 100% The microphone was fl", "", quick, "", "-reverse"},
    // It waits 7 s before it sends the firmware.
    {"longer than the time-out, but with progress", 0, "was flashed", "--timeout 3",
     "silent=data;enter-time=20;answer-delay=70"},
    {"another microphone", 2,
     "No microphone 3C9E:0010 was found. Nothing was sent. The image's path does not select what "
     "is plugged in (3C9E:0101 and 3C9E:000B)",
     "", "devices=0101,000B", "", "R5.bin"},
    {"broken image", 3, "record 6 at offset 511: length 100, but only 99 bytes are left", "", "",
     "exit 1", "broken"},
    {"a line break in its name", 3, "rename it", "", "", "", "a\nb.bin"},
    {"no image", 3, "No such file", "", "", "", "./missing"},
    {"a device as an image", 3, "it is not a file", "", "", "", "/dev/zero"},
    {"another checksum", 3, "not 0000", "--sha256 0ZEROS"},
    {"a digit too many", 64, "64 hexa", "--sha256 00ZEROS"},
    {"image broken meanwhile", 3, "record 4 at offset 5: new", "", "",
     "opened; echo firmware refused: record 4 at offset 5: new"},
    {"image gone meanwhile", 3, "was refused: none.", "", "", "opened; echo Title: x+none"},
    {"flashed, then failed and killed", 0, "was flashed", "", "",
     "opened; status 6; status 2; kill -9 $$"},
    {"flashed, then hung", 0, "was flashed", "", "", "opened; status 5; exec sleep 200"},
    {"a last line without its end", 1, "reported", "", "", "opened; status 4 | tr -d '\\n'"},
    {"flashed, and another one came after it", 0, "another updater has used it", "", "",
     "opened; status 5; printf 'success -1' >$R"},
    {"another one's result", 4, "updater.sh is not the updater", "", "", "printf 'success 1' >$R"},
    {"not there", 6, "./none (use", "--updater ./none"},
    {"died", 6, "The microphone is unchanged. (The result file says something", "", "", "exit 1"},
    {"killed midway", 6,
     "sending 50% The updater crashed or was killed. Use --log FILE to keep its output. The "
     "microphone may be in upgrade mode, with incomplete",
     "", "",
     "opened; printf 'jjjjjjjsend_message  4b\n%s' '' '' dfuxxx------; echo; echo dfuxxx------ 1;"
     "echo 0 ggg 2; kill -9 $$"},
    {"unknown option", 64, "fast", "--fast"},
    {"list and look", 64, "Use only one of", "--list --dry-run", "", "", ""},
    {"log nowhere", 6, "No such file", "--log nowhere/log"},
    {"nothing to list", 2, "No microphone is plugged in", "--list", "devices=046D:000B", "", ""},
    {"two images", 64, "one image, not 2", "a"},
    {"no time", 64, "1 to 86400", "--timeout 0"},
    {"no log", 64, "path is empty", "--log="},
    {"log over image", 64, "--log", "--log TB210.bin"},
    {"log over result", 64, "--log", "--log data/CorvoUpgrade/Firmware_bin.txt"},
    {"log over updater", 64, "--log", "--log updater.sh", "", "exit 1"},
    {"a huge image", 3, "67108865 bytes are more than", "", "", "", "huge"},
    {"log into a device", 6, "/dev/null: it is not a file", "--log /dev/null"},
};

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) != -1);
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void flash(UpdaterRun *run, const QStringList &arguments, const QByteArray &simulator)
{
    // It gets its own process group, as in a terminal, and settings that would hide and change
    // the updater's output.
    run->startInShell(
        "export QT_QPA_PLATFORM=none QT_LOGGING_RULES='*=false' QT_MESSAGE_PATTERN='> %{message}'; "
        "exec setsid " VELMO_FLASH " --updater \"$0\" \"$@\"",
        arguments, simulator);
}

/// Waits for the end of a run with --json. Returns its objects, or nothing if a line is wrong.
QList<QJsonObject> objectsOf(UpdaterRun *run)
{
    const QStringList forms = {"event percent phase seconds", "code event message outcome",
                               "event id node opens path_rule product why"};
    QList<QJsonObject> objects;
    run->waitForExit();
    for (const QByteArray &line : run->standardOutput().split('\n')) {
        objects += QJsonDocument::fromJson(line).object();
        if (!line.isEmpty() && !forms.contains(objects.last().keys().join(' ')))
            return {{}};
    }
    objects.removeLast(); // after the last line's end
    return objects;
}

} // namespace

Q_DECLARE_METATYPE(const Ending *)

/// velmo-flash as scripts use it.
class FlashTest : public QObject
{
    Q_OBJECT

private slots:
    void each_ending_has_its_code_data()
    {
        QTest::addColumn<const Ending *>("row");
        for (const Ending &each : endings)
            QTest::newRow(each.name) << &each;
    }

    void each_ending_has_its_code()
    {
        QFETCH(const Ending *, row);
        UpdaterRun run;
        const QString image = row->image;
        QStringList options = {"--records", "6", "--size", "100"};
        if (image == "broken")
            options += {"--broken", "record-past-end"};
        if (!image.isEmpty() && !image.contains('/'))
            run.makeFirmware(image, options);
        if (image == "huge")
            QVERIFY(QFile::resize(run.path("huge"), 64 * 1024 * 1024 + 1));
        // The result of an earlier run must not count.
        QVERIFY(QDir().mkpath(run.path("data/CorvoUpgrade")));
        write(run.path("data/CorvoUpgrade/Firmware_bin.txt"), "100%\nsuccess 1");
        QStringList arguments = {"--json"};
        if (*row->updater != '\0') {
            write(run.path("updater.sh"),
                  QByteArray("#!/bin/sh\n"
                             "R=$XDG_DATA_HOME/CorvoUpgrade/Firmware_bin.txt\n"
                             "opened() { printf 'createUI----\\r\\nxxxxx 11 64\\r\\n'; }\n"
                             "status() { echo \"qqqq  4b 0 0 0 b 0 0 $1 0 0\"; }\n") +
                      row->updater);
            arguments += {"--updater", run.path("updater.sh")};
        }
        arguments +=
            QString(row->more).replace("ZEROS", QString(63, '0')).split(' ', Qt::SkipEmptyParts);
        if (!image.isEmpty())
            arguments += {"--", image};

        flash(&run, arguments, row->simulator);
        QList<QJsonObject> events = objectsOf(&run);
        QVERIFY2(!events.isEmpty(), run.standardOutput());
        const QJsonObject outcome = events.takeLast();
        QCOMPARE(run.process.exitCode(), row->code);
        QCOMPARE(outcome.value("code").toInt(-1), row->code);
        const QJsonObject progress = events.value(events.size() - 1);
        const QString said = progress.value("phase").toString() +
                             QString(" %1% ").arg(progress.value("percent").toInt()) +
                             outcome.value("message").toString();
        QVERIFY2(said.contains(row->phrase), qPrintable(said));
        QVERIFY(*row->simulator == '\0' || !said.contains("The result file"));
    }

    void a_second_one_says_so_and_disturbs_nothing()
    {
        UpdaterRun run;
        const QStringList arguments = {run.makeFirmware(plain, {}), "--log", "log"};
        flash(&run, arguments + QStringList{"--json"}, mute);
        const auto group = -static_cast<pid_t>(run.process.processId());
        // If the test fails, end the updater, too.
        const auto ending = qScopeGuard([&run, group] {
            while (run.process.state() != QProcess::NotRunning && ::kill(group, SIGINT) == 0)
                run.waitForExit(oneMoreMs);
        });
        QVERIFY(run.waitForResultEnd("100%\n"));
        const QByteArray result = run.result();
        // The first Ctrl-C leads to a question; the updater does not get it.
        QCOMPARE(::kill(group, SIGINT), 0);
        QTRY_VERIFY_WITH_TIMEOUT(run.debugOutput().contains("Press Ctrl-C again") ||
                                     run.process.state() == QProcess::NotRunning,
                                 UpdaterRun::endTimeoutMs);
        QProcess second;
        second.setProcessEnvironment(run.process.processEnvironment());
        second.setWorkingDirectory(run.process.workingDirectory());
        // If this one started an updater by mistake, it would soon end again.
        second.start(VELMO_FLASH, arguments + QStringList{"--timeout", "1"});
        QVERIFY(second.waitForFinished(UpdaterRun::endTimeoutMs));
        QCOMPARE(second.exitCode(), 4);
        QVERIFY(second.readAllStandardError().startsWith("Another updater is running"));
        QCOMPARE(UpdaterRun::contentOf(run.path("log")), QByteArray());
        QCOMPARE(run.result(), result);
        QCOMPARE(::kill(group, SIGINT), 0);
        // The question is not part of standard output.
        const QList<QJsonObject> events = objectsOf(&run);
        QCOMPARE(run.process.exitCode(), 130);
        QVERIFY2(events.last().value("message").toString().contains(
                     "ended on request. The updater sent the whole image"),
                 run.standardOutput());
        // The second one has not written here.
        const QByteArray log = UpdaterRun::contentOf(run.path("log"));
        QVERIFY(log.startsWith("velmo-flash: starting ") && log.count("velmo-flash: ") == 1);
        QVERIFY(log.contains("\ncreateUI----\n"));

        // The updater has ended, so the next one can run, also without the data folder.
        QVERIFY(QDir(run.path("data")).removeRecursively());
        flash(&run, arguments, quick);
        QCOMPARE(run.exitCode(), 0);
        const QByteArray lines = run.standardOutput();
        QVERIFY2(lines.contains("\n100% after ") &&
                     lines.endsWith("flashed. It can be used now.\n"),
                 lines);
    }

    void an_image_is_described_without_sending_anything()
    {
        UpdaterRun run;
        const QString image =
            run.makeFirmware("R5_otg", {"--version", "1.2.3", "--sizes", "100,64,576"});
        const QByteArray sum = QCryptographicHash::hash(UpdaterRun::contentOf(run.path("R5_otg")),
                                                        QCryptographicHash::Sha256)
                                   .toHex();
        flash(&run, {"--dry-run", "--json", image, "--sha256", sum.toUpper()}, {});
        QCOMPARE(run.exitCode(), 0);
        QCOMPARE(run.standardOutput().split('\n').first().replace('"', '\''),
                 "{'bytes':751,'event':'image','microphone':'3C9E:0011 or 3C9E:0065','packets':13,"
                 "'records':[{'length':11,'offset':0,'packets':1},"
                 "{'length':100,'offset':11,'packets':2},{'length':64,'offset':111,'packets':1},"
                 "{'length':576,'offset':175,'packets':9}],"
                 "'seconds_least':10,'seconds_most':17.6,'sha256':'" +
                     sum + "','version':'V1.2.3'}");
        flash(&run, {"--inspect", image}, {});
        QCOMPARE(run.exitCode(), 0);
        QVERIFY(run.standardOutput().simplified().contains(" 2 111 64 1 3 175 576 9 "));
        QVERIFY(!QFile::exists(run.path("trace.txt")));
    }

    void a_terminal_gets_a_bar_and_lines_that_fit()
    {
        UpdaterRun run;
        run.makePlainImage();
        // 0: the terminal does not know its width, which is taken for 80. The bar needs over 51.
        for (const int columns : {0, 2, 18, 40, 51, 80, 200}) {
            run.startInShell("exec script -qec 'stty cols " + QByteArray::number(columns) +
                                 "; " VELMO_FLASH " " + plain + "' /dev/null",
                             {}, quick);
            QCOMPARE(run.exitCode(), 0);
            const QString shown = run.standardOutput();
            QVERIFY(shown.simplified().endsWith("The microphone was flashed. It can be used now."));
            QCOMPARE(shown.contains("\r[#"), columns == 0 || columns > 51);
            for (const QString &line : shown.split(QRegularExpression("[\r\n]")))
                QVERIFY2(line.size() < (columns > 0 ? columns : 80) || !line.contains(' '),
                         qPrintable(line));
        }
    }

    void what_is_plugged_in_is_listed()
    {
        UpdaterRun run;
        flash(&run, {"--list", "--json"}, "devices=000B,046D:0101,0101,0010,0011,0065");
        QStringList found;
        for (const QJsonObject &each : objectsOf(&run))
            found += each.value("node").toString() + ' ' + each.value("path_rule").toString();
        QCOMPARE(found, (QStringList{"/dev/velmo-sim0 without \"R5\"", "/dev/velmo-sim2 ",
                                     "/dev/velmo-sim3 with \"R5\" but not \"otg\"",
                                     "/dev/velmo-sim4 with \"R5\" and \"otg\"",
                                     "/dev/velmo-sim5 with \"R5\" and \"otg\"", " "}));
    }
};

QTEST_GUILESS_MAIN(FlashTest)
#include "tst_flash.moc"
