#include "device/deviceSelection.h"
#include "tests/support/FakeClock.h"
#include "tests/support/RecordingManager.h"
#include "upgrade/DevOperator.h"
#include "upgrade/commandQueues.h"
#include "upgrade/linkFlags.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

QList<QByteArray> numberedPackets(int count)
{
    QList<QByteArray> packets;
    for (int i = 0; i < count; ++i) {
        packets.append(QByteArray(65, static_cast<char>(i)));
        packets.last()[0] = 0x4B;
    }
    return packets;
}

QByteArray statusReport(char status)
{
    QByteArray report(64, '\0');
    report[4] = 0x0B;
    report[7] = status;
    return report;
}

QString valuesOf(const QSignalSpy &spy)
{
    QStringList values;
    for (const QList<QVariant> &arguments : spy)
        values += arguments.first().toString();
    return values.join(QLatin1Char(' '));
}

} // namespace

/// The transfer loop, pass by pass, on a clock of its own.
class TransferTest : public QObject
{
    Q_OBJECT

private:
    /// Packets as "number/index in batch"; "w" stands for a wait that ran out,
    /// "7000" for a sleep.
    QStringList log;
    /// Whether a confirmation was awaited as each packet went out.
    QString flagsAtPackets;
    std::unique_ptr<FakeClock> clock;
    std::unique_ptr<RecordingManager> manager;
    std::unique_ptr<DevOperator> devOperator;
    bool answered = false;

private slots:
    void init()
    {
        log.clear();
        flagsAtPackets.clear();
        clock = std::make_unique<FakeClock>();
        manager = std::make_unique<RecordingManager>();
        devOperator = std::make_unique<DevOperator>(nullptr);
        devOperator->setManager(manager.get());
        devOperator->setClock(clock.get());
        answered = false;
        connectedFlag = true;
        linkReadyFlag = true;
        g_otgAltPid = false;
        selectMicrophoneFor(QStringLiteral("plain.bin"));
        controlCommandQueue.clear();
        settingQueue.clear();
        reportCommandQueue.clear();
        shortCommandQueue.clear();
        shortReplyList.clear();
        expectedReplyList.clear();

        auto waitBegan = std::make_shared<qint64>(0);
        const auto noteWait = [this, waitBegan] {
            if (clock->time - *waitBegan >= 200)
                log += QStringLiteral("w");
            *waitBegan = clock->time;
        };
        manager->onPacket = [this, noteWait](const QByteArray &packet, int indexInBatch) {
            noteWait();
            flagsAtPackets +=
                devOperator->awaitingConfirmation ? QLatin1Char('1') : QLatin1Char('0');
            log += QStringLiteral("%1/%2").arg(int{packet.at(64)}).arg(indexInBatch);
            // What the worker collected meanwhile is dropped before each packet.
            QCOMPARE(devOperator->reportBuffer.size(), 0);
        };
        clock->onSleep = [this, waitBegan](int milliseconds) {
            *waitBegan = clock->time;
            if (milliseconds > 1)
                log += QString::number(milliseconds);
        };
        clock->onTick = [this] {
            if (answered)
                devOperator->awaitingConfirmation = false;
        };
    }

    void the_schedule_depends_on_the_number_of_packets_data();
    void the_schedule_depends_on_the_number_of_packets();
    void a_verdict_during_a_batch_wait_stops_the_transfer();
    void nothing_is_sent_while_disconnected();
    void a_list_walked_again_starts_from_packet_0();
    void an_unanswered_batch_starts_the_confirmation_timer();
    void the_flag_is_set_before_some_packets_and_behind_others();
    void queued_commands_are_served_data();
    void queued_commands_are_served();
    void the_queues_are_served_while_disconnected();
    void the_short_command_loop_serves_one_queue_and_looks_at_another();
    void the_report_request_loop_shortens_the_other_queue();
    void the_confirmation_time_out_reports_failure_again_and_again();
};

void TransferTest::the_schedule_depends_on_the_number_of_packets_data()
{
    QTest::addColumn<int>("packets");
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("altPid");
    QTest::addColumn<bool>("answers");
    QTest::addColumn<QString>("sent");
    QTest::addColumn<QString>("progress");
    QTest::addColumn<bool>("done");

    const QString plain = QStringLiteral("plain.bin");
    const QString otg = QStringLiteral("R5_otg.bin");
    QTest::newRow("13, silent") << 13 << plain << false << false
                                << "0/0 w 1/0 2/1 w 3/0 4/1 5/2 6/3 7/4 w 8/0 9/1 10/2 11/3 12/4"
                                << "0 0 0 3 3 3 3 3 8 8 8 8 8 9 10 11 12 13" << true;
    QTest::newRow("13, answering") << 13 << plain << false << true
                                   << "0/0 7000 1/0 2/1 3/0 4/1 5/2 6/3 7/4 8/0 9/1 10/2 11/3 12/4"
                                   << "0 0 0 3 3 3 3 3 8 8 8 8 8 9 10 11 12 13" << true;
    QTest::newRow("10") << 10 << plain << false << true
                        << "0/0 7000 1/0 2/1 3/0 4/1 5/2 6/3 7/4 8/0 9/1"
                        << "0 0 0 3 3 3 3 3 8 8 9 10" << true;
    QTest::newRow("8") << 8 << plain << false << true << "0/0 7000 1/0 2/1 3/0 4/1 5/2 6/3 7/4"
                       << "0 0 0 3 3 3 3 3 4 5 6 7 8" << true;
    QTest::newRow("4") << 4 << plain << false << false << "0/0 w 1/0 2/1 w 3/0"
                       << "0 0 0 3 4" << true;
    // Shorter lists than any image makes: the schedule's arithmetic as it stands.
    QTest::newRow("3") << 3 << plain << false << false << "0/0 w 0/0 1/1 2/2"
                       << "0 0 0 1 2 3" << true;
    QTest::newRow("3, alternate id") << 3 << otg << true << false << "w 1/1 2/2"
                                     << "0 0 1 2 3" << true;
    QTest::newRow("1") << 1 << plain << false << false << "0/0"
                       << "0" << false;
    QTest::newRow("0") << 0 << plain << false << false << ""
                       << "" << true;
    QTest::newRow("R5 without otg")
        << 4 << QStringLiteral("R5.bin") << false << true << "0/0 7000 1/0 2/1 3/0"
        << "0 0 0 3 4" << true;
    QTest::newRow("otg") << 4 << otg << false << true << "0/0 10000 7000 1/0 2/1 3/0"
                         << "0 0 0 3 4" << true;
    QTest::newRow("otg, alternate id") << 4 << otg << true << false << "w 1/0 2/1 w 3/0"
                                       << "0 0 3 4" << true;
}

void TransferTest::the_schedule_depends_on_the_number_of_packets()
{
    QFETCH(int, packets);
    QFETCH(QString, path);
    QFETCH(bool, altPid);
    QFETCH(bool, answers);
    selectMicrophoneFor(path);
    g_otgAltPid = altPid;
    answered = answers;
    devOperator->pendingPackets = numberedPackets(packets);
    devOperator->reportBuffer.append(InputReport());
    const QSignalSpy progress(devOperator.get(), &DevOperator::tb210_progress_current_value);

    devOperator->transferPass();

    QTEST(log.join(QLatin1Char(' ')), "sent");
    QTEST(valuesOf(progress), "progress");
    QTEST(devOperator->pendingPackets.isEmpty(), "done");
}

void TransferTest::a_verdict_during_a_batch_wait_stops_the_transfer()
{
    devOperator->pendingPackets = numberedPackets(23);
    const QSignalSpy verdict(devOperator.get(), &DevOperator::tb210_break_fail_mess);
    clock->onTick = [this] {
        // The last packet of the second batch is out, and its wait has begun.
        if (!log.isEmpty() && log.last() == QLatin1String("7/4") &&
            !devOperator->pendingPackets.isEmpty()) {
            manager->reports.push_back(statusReport(5));
            devOperator->readDeviceReport();
        }
    };

    devOperator->transferPass();

    QCOMPARE(log.last(), QStringLiteral("7/4"));
    QCOMPARE(valuesOf(verdict), QStringLiteral("2"));
    QVERIFY(devOperator->pendingPackets.isEmpty());
    QVERIFY(devOperator->inFlightBatch.isEmpty());
}

void TransferTest::nothing_is_sent_while_disconnected()
{
    connectedFlag = false;
    devOperator->pendingPackets = numberedPackets(8);
    devOperator->transferPass();
    QVERIFY(log.isEmpty());
    QCOMPARE(devOperator->pendingPackets.size(), 8);
}

void TransferTest::a_list_walked_again_starts_from_packet_0()
{
    devOperator->sentCount = 3;
    devOperator->pendingPackets = numberedPackets(8);
    devOperator->transferPass();
    QCOMPARE(log.first(), QStringLiteral("0/0"));
    // The count goes on where it stood, so it passes the list's size by.
    QCOMPARE(static_cast<int>(devOperator->sentCount), 11);
}

void TransferTest::an_unanswered_batch_starts_the_confirmation_timer()
{
    devOperator->pendingPackets = numberedPackets(10);
    devOperator->transferPass();
    QVERIFY(devOperator->confirmTimer->isActive());
    QVERIFY(!devOperator->confirmTimer->isSingleShot());
    QCOMPARE(devOperator->confirmTimer->interval(), 3000);
}

void TransferTest::the_flag_is_set_before_some_packets_and_behind_others()
{
    answered = true;
    devOperator->awaitingConfirmation = false;
    devOperator->pendingPackets = numberedPackets(10);
    devOperator->transferPass();
    // Packets 1 and 2 and the tail go out behind it, the batch before it.
    QCOMPARE(flagsAtPackets, QStringLiteral("0110000011"));
    QVERIFY(!devOperator->confirmTimer->isActive());
}

void TransferTest::queued_commands_are_served_data()
{
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("pauses");
    QTest::addColumn<int>("commands");
    QTest::addColumn<QString>("left");
    QTest::addColumn<QString>("failures");
    QTest::addColumn<bool>("staysConnected");
    // A control command ends the pass; then setting and report request follow.  Each
    // queue is given two commands, and each row makes three passes.
    QTest::newRow("answered") << 1 << "5 5 5 30" << 4 << "0 1 1"
                              << "" << true;
    QTest::newRow("refused") << -201 << "5 5 30" << 3 << "0 0 0"
                             << "-201 -201" << true;
    // The microphone goes while the first command is out: its queue is emptied, and
    // the next passes are those without a microphone.
    QTest::newRow("answered, but gone") << 1 << "5 5 5" << 3 << "0 0 0"
                                        << "1" << false;
}

void TransferTest::queued_commands_are_served()
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

    QTEST(log.join(QLatin1Char(' ')), "pauses");
    QTEST(static_cast<int>(manager->commands.size()), "commands");
    QTEST(QStringLiteral("%1 %2 %3")
              .arg(controlCommandQueue.size())
              .arg(settingQueue.size())
              .arg(reportCommandQueue.size()),
          "left");
    QTEST(valuesOf(failures), "failures");
    for (const RecordingManager::Command &command : manager->commands) {
        QCOMPARE(command.bytes.size(), 12);
        QCOMPARE(command.retries, 3);
        if (command.bytes.at(0) == 3)
            QCOMPARE(command.bytes.right(3), QByteArray("\x09\0\0", 3));
    }
}

void TransferTest::the_queues_are_served_while_disconnected()
{
    connectedFlag = false;
    manager->commandResult = -100;
    settingQueue = {ReportCommand{1}, ReportCommand{2}};
    reportCommandQueue = {ReportCommand{3}};
    devOperator->transferPass();
    QCOMPARE(settingQueue.size(), 1); // any result but 0 will do
    QVERIFY(reportCommandQueue.isEmpty());

    linkReadyFlag = false;
    settingQueue = {ReportCommand{1}, ReportCommand{2}};
    devOperator->transferPass();
    QVERIFY(settingQueue.isEmpty());
}

void TransferTest::the_short_command_loop_serves_one_queue_and_looks_at_another()
{
    shortCommandQueue = {ShortCommand{0, 0, 0, 0, 0, 'w'}, ShortCommand{0, 0, 0, 0, 0, 'r'}};
    devOperator->shortCommandPass();
    QVERIFY(manager->commands.empty()); // the queue looked at is empty

    controlCommandQueue = {ControlCommand{}};
    devOperator->shortCommandPass();
    QCOMPARE(shortCommandQueue.size(), 2); // reported as done: kept and sent again

    manager->exchangeResult = false;
    devOperator->shortCommandPass();
    QCOMPARE(shortCommandQueue.size(), 1);
    QVERIFY(!lastCommandNotWrite);
    devOperator->shortCommandPass();
    QVERIFY(shortCommandQueue.isEmpty());
    QVERIFY(lastCommandNotWrite);
    QCOMPARE(manager->commands.back().bytes.size(), 500);
    QCOMPARE(manager->commands.back().bytes.mid(6), QByteArray(494, '\0'));
    QVERIFY(shortReplyList.isEmpty());
}

void TransferTest::the_report_request_loop_shortens_the_other_queue()
{
    reportCommandQueue = {ReportCommand{7}};
    controlCommandQueue = {ControlCommand{1}, ControlCommand{2}};
    manager->exchangeResult = false;
    for (int pass = 0; pass < 3; ++pass)
        devOperator->reportRequestPass();
    QCOMPARE(reportCommandQueue.size(), 1);
    QVERIFY(controlCommandQueue.isEmpty());
    QCOMPARE(static_cast<int>(manager->commands.size()), 3);
}

void TransferTest::the_confirmation_time_out_reports_failure_again_and_again()
{
    const QSignalSpy failures(devOperator.get(), &DevOperator::tb210_break_fail_mess);
    devOperator->pendingPackets = numberedPackets(4);
    devOperator->awaitingConfirmation = false;
    devOperator->timeOutAction();
    QCOMPARE(failures.size(), 0);
    devOperator->awaitingConfirmation = true;
    devOperator->timeOutAction();
    devOperator->timeOutAction();
    QCOMPARE(valuesOf(failures), QStringLiteral("1 1"));
    QVERIFY(devOperator->pendingPackets.isEmpty());
    QVERIFY(devOperator->awaitingConfirmation);
}

QTEST_GUILESS_MAIN(TransferTest)
#include "tst_transfer.moc"
