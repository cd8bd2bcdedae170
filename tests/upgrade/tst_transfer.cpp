#include "device/deviceSelection.h"
#include "tests/support/RecordingManager.h"
#include "upgrade/DevOperator.h"
#include "upgrade/TransferClock.h"
#include "upgrade/commandQueues.h"
#include "upgrade/linkFlags.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

QList<QByteArray> numberedPackets(int count)
{
    QList<QByteArray> packets;
    for (int i = 0; i < count; ++i)
        packets.append('K' + QByteArray(64, static_cast<char>(i)));
    return packets;
}

QString valuesOf(const QSignalSpy &spy)
{
    QStringList values;
    for (const QList<QVariant> &arguments : spy)
        values += arguments.first().toString();
    return values.join(QLatin1Char(' '));
}

} // namespace

/// The transfer loop, pass by pass. The clock advances only when it is read, by one
/// millisecond, and when it sleeps.
class TransferTest : public QObject, public TransferClock
{
    Q_OBJECT

public:
    qint64 now() override
    {
        if (onTick)
            onTick();
        return ++time;
    }

    void sleep(int milliseconds) override
    {
        time += milliseconds;
        waitBegan = time;
        if (milliseconds > 1)
            log += QString::number(milliseconds);
    }

private:
    /// Packets as "number/index in batch", "w" for a wait that timed out, and "7000" for a
    /// sleep.
    QStringList log;
    /// awaitingConfirmation as each packet was sent.
    QString flagsAtPackets;
    qint64 time = 0;
    qint64 waitBegan = 0;
    /// Stands in for the worker thread.
    std::function<void()> onTick;
    std::unique_ptr<RecordingManager> manager;
    std::unique_ptr<DevOperator> devOperator;

    void answerAtOnce()
    {
        onTick = [this] { devOperator->awaitingConfirmation = false; };
    }

private slots:
    void init()
    {
        log.clear();
        flagsAtPackets.clear();
        onTick = nullptr;
        manager = std::make_unique<RecordingManager>();
        devOperator = std::make_unique<DevOperator>(nullptr);
        devOperator->setManager(manager.get());
        devOperator->setClock(this);
        connectedFlag = true;
        linkReadyFlag = true;
        g_otgAltPid = false;
        selectMicrophoneFor(QStringLiteral("plain.bin"));
        controlCommandQueue.clear();
        settingQueue.clear();
        reportCommandQueue.clear();
        manager->onPacket = [this](const QByteArray &packet, int indexInBatch) {
            if (time - waitBegan >= 200)
                log += QStringLiteral("w");
            waitBegan = time;
            flagsAtPackets += QString::number(int{devOperator->awaitingConfirmation});
            log += QStringLiteral("%1/%2").arg(int{packet.at(64)}).arg(indexInBatch);
            // Collected reports are dropped before each packet.
            QCOMPARE(devOperator->reportBuffer.size(), 0);
        };
    }

    void the_schedule_depends_on_the_number_of_packets_data()
    {
        QTest::addColumn<int>("packets");
        QTest::addColumn<QString>("situation");
        QTest::addColumn<QString>("sent");
        QTest::addColumn<QString>("progress");
        const auto row = [](int packets, const char *situation, const char *sent,
                            const char *progress) {
            QTest::addRow("%d %s", packets, situation)
                << packets << QString::fromLatin1(situation) << QString::fromLatin1(sent)
                << QString::fromLatin1(progress);
        };
        row(13, "", "0/0 w 1/0 2/1 w 3/0 4/1 5/2 6/3 7/4 w 8/0 9/1 10/2 11/3 12/4",
            "0 0 0 3 3 3 3 3 8 8 8 8 8 9 10 11 12 13");
        row(10, "answering", "0/0 7000 1/0 2/1 3/0 4/1 5/2 6/3 7/4 8/0 9/1",
            "0 0 0 3 3 3 3 3 8 8 9 10");
        row(8, "answering", "0/0 7000 1/0 2/1 3/0 4/1 5/2 6/3 7/4", "0 0 0 3 3 3 3 3 4 5 6 7 8");
        // After a verdict no packet is sent, and the current step is the last one.
        row(23, "verdict while 7/4 is awaited", "0/0 w 1/0 2/1 w 3/0 4/1 5/2 6/3 7/4",
            "0 0 0 3 3 3 3 3 8");
        row(23, "verdict behind 0/0", "0/0", "0");
        row(23, "verdict behind 1/0", "0/0 w 1/0", "0 0 0 3");
        row(23, "verdict behind 5/2", "0/0 w 1/0 2/1 w 3/0 4/1 5/2", "0 0 0 3 3 3 3 3 8");
        row(10, "verdict behind 8/0", "0/0 w 1/0 2/1 w 3/0 4/1 5/2 6/3 7/4 w 8/0",
            "0 0 0 3 3 3 3 3 8 8 9");
        row(4, "otg answering", "0/0 10000 7000 1/0 2/1 3/0", "0 0 0 3 4");
        row(4, "otg alternate id", "w 1/0 2/1 w 3/0", "0 0 3 4");
        // Shorter lists than an image can have.
        row(3, "", "0/0 w 0/0 1/1 2/2", "0 0 0 1 2 3");
        row(3, "otg alternate id", "w 1/1 2/2", "0 0 1 2 3");
        row(1, "", "0/0", "0 left");
        row(0, "", "", "");
    }

    void the_schedule_depends_on_the_number_of_packets()
    {
        QFETCH(int, packets);
        QFETCH(QString, situation);
        if (situation.contains(QStringLiteral("otg")))
            selectMicrophoneFor(QStringLiteral("R5_otg.bin"));
        g_otgAltPid = situation.endsWith(QStringLiteral("alternate id"));
        if (situation.endsWith(QStringLiteral("answering")))
            answerAtOnce();
        if (situation.startsWith(QStringLiteral("verdict"))) {
            const auto giveVerdict = [this, packet = situation.section(QLatin1Char(' '), 2, 2)] {
                if (log.last() == packet && !devOperator->pendingPackets.isEmpty()) {
                    manager->reports.push_back(QByteArray::fromHex("000000000b000005"));
                    devOperator->readDeviceReport();
                }
            };
            if (situation.contains(QStringLiteral("awaited")))
                onTick = giveVerdict;
            else
                manager->onPacket = [giveVerdict, record = manager->onPacket](
                                        const QByteArray &bytes, int indexInBatch) {
                    record(bytes, indexInBatch);
                    giveVerdict();
                };
        }
        devOperator->pendingPackets = numberedPackets(packets);
        devOperator->reportBuffer.append(InputReport());
        const QSignalSpy progress(devOperator.get(), &DevOperator::tb210_progress_current_value);

        devOperator->transferPass();

        QTEST(log.join(QLatin1Char(' ')), "sent");
        const char *const left = devOperator->pendingPackets.isEmpty() ? "" : " left";
        QTEST(valuesOf(progress) + QLatin1String(left), "progress");
    }

    void a_transfer_follows_another()
    {
        answerAtOnce();
        devOperator->pendingPackets = numberedPackets(10);
        devOperator->transferPass();
        // The flag is set before packets 1 and 2 and the tail, but after a batch.
        QCOMPARE(flagsAtPackets, QStringLiteral("0110000011"));
        QVERIFY(!devOperator->confirmTimer->isActive());

        onTick = nullptr;
        devOperator->pendingPackets = numberedPackets(9);
        devOperator->transferPass();
        QVERIFY(devOperator->confirmTimer->isActive());
        QVERIFY(!devOperator->confirmTimer->isSingleShot());
        QCOMPARE(devOperator->confirmTimer->interval(), 3000);
        // The count is not reset, so it exceeds the list's size.
        QCOMPARE(static_cast<int>(devOperator->sentCount), 19);
    }

    void queued_commands_are_served_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<bool>("staysConnected");
        QTest::addColumn<QString>("outcome");
        // A pass serves a control command, or a setting and a report request. Each queue gets
        // two commands, and each row makes three passes.
        QTest::newRow("answered") << 1 << true
                                  << QStringLiteral("5 5 5 30: 4 sent, 0 1 1 left, failed ");
        QTest::newRow("refused") << -201 << true
                                 << QStringLiteral("5 5 30: 3 sent, 0 0 0 left, failed -201 -201");
        // The microphone is unplugged during the first command. Its queue is emptied, and the
        // next passes are those without a microphone.
        QTest::newRow("gone") << 1 << false
                              << QStringLiteral("5 5 5: 3 sent, 0 0 0 left, failed 1");
    }

    void queued_commands_are_served()
    {
        QFETCH(int, result);
        QFETCH(bool, staysConnected);
        manager->commandResult = result;
        manager->onCommand = [staysConnected] { connectedFlag = staysConnected; };
        controlCommandQueue = {ControlCommand{1}, ControlCommand{2}};
        settingQueue = {ReportCommand{3, 9, 9, 9, 9, 9, 9, 9, 9, 9}, ReportCommand{4}};
        reportCommandQueue = {ReportCommand{5}, ReportCommand{6}};
        const QSignalSpy failures(devOperator.get(), &DevOperator::tb210_break_fail_mess);

        for (int pass = 0; pass < 3; ++pass)
            devOperator->transferPass();

        QTEST(QStringLiteral("%1: %2 sent, %3 %4 %5 left, failed %6")
                  .arg(log.join(QLatin1Char(' ')))
                  .arg(manager->commands.size())
                  .arg(controlCommandQueue.size())
                  .arg(settingQueue.size())
                  .arg(reportCommandQueue.size())
                  .arg(valuesOf(failures)),
              "outcome");
        QCOMPARE(manager->retries, 3);
        for (const QByteArray &command : manager->commands) {
            QCOMPARE(command.size(), 12);
            if (command.at(0) == 3)
                QCOMPARE(command.right(3), QByteArray("\x09\0\0", 3));
        }
    }

    void a_pass_without_a_microphone_sends_settings_only()
    {
        connectedFlag = false;
        devOperator->pendingPackets = numberedPackets(8);
        settingQueue = {ReportCommand{1}, ReportCommand{2}};
        reportCommandQueue = {ReportCommand{3}};
        devOperator->transferPass();
        QCOMPARE(log, QStringList{QStringLiteral("5")});
        QCOMPARE(devOperator->pendingPackets.size(), 8);
        QCOMPARE(settingQueue.size(), 1); // any result but 0 counts
        QVERIFY(reportCommandQueue.isEmpty());

        linkReadyFlag = false;
        settingQueue = {ReportCommand{1}, ReportCommand{2}};
        devOperator->transferPass();
        QVERIFY(settingQueue.isEmpty());
    }

    void the_short_command_loop_serves_one_queue_and_looks_at_another()
    {
        shortCommandQueue = {ShortCommand{0, 0, 0, 0, 0, 'w'}, ShortCommand{0, 0, 0, 0, 0, 'r'}};
        devOperator->shortCommandPass();
        QVERIFY(manager->commands.isEmpty()); // the tested queue is empty

        controlCommandQueue = {ControlCommand{}};
        devOperator->shortCommandPass();
        QCOMPARE(shortCommandQueue.size(), 2); // kept and sent again

        manager->exchangeResult = false;
        const ShortCommand value{1, 2, 3, 4, 5, 'v', 7, 8, 9, 10, 11};
        manager->exchangeReply = QByteArray("\1\2\3\4\5v\7\x8\x9\xA\xB\xC", 12);
        expectedReplyList.resize(3);
        const QSignalSpy complete(devOperator.get(), &DevOperator::refresh_main_signal);
        shortCommandQueue.append(shortCommandQueue.last());
        // A write's reply is not kept. One reply less than expected completes the list.
        for (const int kept : {0, 1, 2}) {
            devOperator->shortCommandPass();
            QCOMPARE(shortCommandQueue.size(), 2 - kept);
            QCOMPARE(lastCommandNotWrite, kept > 0);
            QCOMPARE(shortReplyList, QVector<ShortCommand>(kept, value));
            QCOMPARE(complete.size(), kept / 2);
        }
        QCOMPARE(manager->commands.last(), QByteArray(5, '\0') + 'r' + QByteArray(494, '\0'));
        manager->exchangeReply[5] = 'w'; // not a value
        devOperator->shortCommandPass();
        QCOMPARE(shortReplyList.size(), 2);
    }

    void the_report_request_loop_shortens_the_other_queue()
    {
        reportCommandQueue = {ReportCommand{7}};
        controlCommandQueue = {ControlCommand{1}, ControlCommand{2}};
        manager->exchangeResult = false;
        for (int pass = 0; pass < 3; ++pass)
            devOperator->reportRequestPass();
        QCOMPARE(reportCommandQueue.size(), 1);
        QVERIFY(controlCommandQueue.isEmpty());
        QCOMPARE(manager->commands.size(), 3);
    }

    void the_confirmation_time_out_reports_failure_again_and_again()
    {
        const QSignalSpy failures(devOperator.get(), &DevOperator::tb210_break_fail_mess);
        devOperator->pendingPackets = numberedPackets(4);
        for (const bool waits : {false, true, true}) {
            devOperator->awaitingConfirmation = waits;
            devOperator->timeOutAction();
            QCOMPARE(devOperator->pendingPackets.isEmpty(), waits);
            QCOMPARE(bool{devOperator->awaitingConfirmation}, waits);
        }
        QCOMPARE(valuesOf(failures), QStringLiteral("1 1"));
    }
};

QTEST_GUILESS_MAIN(TransferTest)
#include "tst_transfer.moc"
