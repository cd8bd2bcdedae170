#include "device/deviceSelection.h"
#include "tests/support/RecordingManager.h"
#include "upgrade/DFU_thread.h"
#include "upgrade/DevOperator.h"
#include "upgrade/TransferClock.h"
#include "upgrade/commandQueues.h"
#include "upgrade/linkFlags.h"

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

} // namespace

/// The operator's transfer, command queues and reports, pass by pass. The clock advances only
/// when it is read, by one millisecond, and when it sleeps. The rows of a table end with what
/// must happen.
class OperatorTest : public QObject, public TransferClock
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
            sent += QByteArray::number(milliseconds);
    }

private:
    /// Packets as "number/index in batch" with a "!" if a confirmation was awaited then, "w"
    /// for a wait that timed out, and "7000" for a sleep.
    QByteArrayList sent;
    QByteArrayList progress;
    /// The other signals.
    QByteArrayList raised;
    qint64 time = 0;
    qint64 waitBegan = 0;
    /// Stands in for the worker thread.
    std::function<void()> onTick;
    std::unique_ptr<RecordingManager> manager;
    std::unique_ptr<DevOperator> devOperator;

    template <class Signal>
    void note(Signal signal, const QByteArray &name)
    {
        connect(devOperator.get(), signal, this, [this, name](auto... value) {
            raised += (name + ... + (' ' + QByteArray::number(value)));
        });
    }

    /// Has the worker handle a report with the given bytes from byte 4 on, or no report.
    void give(const QByteArray &hexFromByte4)
    {
        if (!hexFromByte4.isEmpty())
            manager->reports = {QByteArray(4, '\0') + QByteArray::fromHex(hexFromByte4)};
        DFU_thread worker(nullptr);
        worker.devOperator = devOperator.get();
        worker.onePass();
    }

private slots:
    void init()
    {
        sent.clear();
        progress.clear();
        raised.clear();
        onTick = nullptr;
        manager = std::make_unique<RecordingManager>();
        manager->onPacket = [this](const QByteArray &packet, int index) {
            if (time - waitBegan >= 200)
                sent += time - waitBegan < 300 ? "w" : "late";
            waitBegan = time;
            sent += QByteArray::number(packet.at(64)) + '/' + QByteArray::number(index) +
                    (devOperator->awaitingConfirmation ? "!" : "");
            // Collected reports are dropped before each packet.
            QCOMPARE(devOperator->reportBuffer.size(), 0);
        };
        devOperator = std::make_unique<DevOperator>(nullptr);
        devOperator->setManager(manager.get());
        devOperator->setClock(this);
        connect(devOperator.get(), &DevOperator::tb210_progress_current_value, this,
                [this](int value) { progress += QByteArray::number(value); });
        note(&DevOperator::tb210_break_fail_mess, "verdict");
        note(&DevOperator::blockDfuStatus, "dfu");
        note(&DevOperator::blockModelCodel, "model");
        note(&DevOperator::refresh_main_signal, "complete");
        note(&DevOperator::tb210_refresh_main_signal, "refresh");
        note(&DevOperator::tb210_sysreceive_datasignal, "full");
        connectedFlag = true;
        linkReadyFlag = true;
        controlCommandQueue.clear();
        settingQueue.clear();
        reportCommandQueue.clear();
    }

    void the_schedule_depends_on_the_number_of_packets()
    {
        // Packets, situation, what is sent, progress, the interval of a started timer.
        for (const QByteArray row : {
                 "13,silent: 0/0 w 1/0! 2/1! w 3/0! 4/1! 5/2! 6/3! 7/4! w 8/0! 9/1! 10/2! 11/3! "
                 "12/4!: 0 0 0 3 3 3 3 3 8 8 8 8 8 9 10 11 12 13 timer 3000",
                 "10,answering: 0/0 7000 1/0! 2/1! 3/0 4/1 5/2 6/3 7/4 8/0! 9/1!: "
                 "0 0 0 3 3 3 3 3 8 8 9 10",
                 "8,answering: 0/0 7000 1/0! 2/1! 3/0! 4/1! 5/2! 6/3! 7/4!: "
                 "0 0 0 3 3 3 3 3 4 5 6 7 8",
                 // The count is not reset, so it exceeds the list's size.
                 "9,answering,counted before: 0/0 7000 1/0! 2/1! 3/0 4/1 5/2 6/3 7/4 8/0!: "
                 "10 10 10 13 13 13 13 13 18 19 left",
                 "23,verdict: 0/0 w 1/0! 2/1! w 3/0! 4/1! 5/2! 6/3! 7/4!: "
                 "0 0 0 3 3 3 3 3 8 timer 3000",
                 "4,answering,otg: 0/0 10000 7000 1/0! 2/1! 3/0!: 0 0 0 3 4",
                 "4,otg,alternate id: w 1/0! 2/1! w 3/0!: 0 0 3 4",
                 // Packet 0 is part of the tail.
                 "3,silent: 0/0 w 0/0! 1/1! 2/2!: 0 0 0 1 2 3",
                 "3,otg,alternate id: w 1/1! 2/2!: 0 0 1 2 3",
             }) {
            init();
            const QByteArray situation = row.left(row.indexOf(": "));
            const QByteArrayList words = situation.split(',');
            selectMicrophoneFor(words.contains("otg") ? "R5_otg.bin" : "plain.bin");
            g_otgAltPid = words.contains("alternate id");
            devOperator->sentCount = words.contains("counted before") ? 10 : 0;
            if (words.contains("answering"))
                onTick = [this] { devOperator->awaitingConfirmation = false; };
            else if (words.contains("verdict"))
                onTick = [this] {
                    if (sent.last() == "7/4!" && !devOperator->pendingPackets.isEmpty())
                        give("0b000005");
                };
            devOperator->pendingPackets = numberedPackets(words.first().toInt());
            devOperator->reportBuffer.append(InputReport());
            devOperator->transferPass();
            if (!devOperator->pendingPackets.isEmpty())
                progress += "left";
            if (devOperator->confirmTimer->isActive())
                progress += "timer " + QByteArray::number(devOperator->confirmTimer->interval());
            QVERIFY(!devOperator->confirmTimer->isSingleShot());
            QCOMPARE(situation + ": " + sent.join(' ') + ": " + progress.join(' '), row);
        }
    }

    void queued_commands_are_served()
    {
        // A pass serves a control command, or a setting and a report request. Each queue gets
        // two commands, and each row makes three passes.
        for (const QByteArray row : {
                 "1: slept 5 5 5 30, sent 4, left 0 1 1, ",
                 "0: slept 5 5 5 30, sent 4, left 0 1 1, ",
                 "-201: slept 5 5 30, sent 3, left 0 0 0, verdict -201 verdict -201",
                 // The microphone is unplugged during the first command. Its queue is emptied,
                 // and the next passes are those without a microphone: they serve the settings.
                 "1 unplugged: slept 5 5 5, sent 3, left 0 0 0, verdict 1",
                 "-201 absent: slept 5 5, sent 2, left 2 0 0, ", // any result but 0 counts
                 "0 absent: slept 5, sent 1, left 2 0 0, ",
                 "1 absent, not ready: slept 5, sent 1, left 2 0 0, ",
             }) {
            init();
            const QByteArray situation = row.left(row.indexOf(':'));
            manager->commandResult = situation.split(' ').first().toInt();
            connectedFlag = !situation.contains("absent");
            linkReadyFlag = !situation.contains("not ready");
            if (situation.contains("unplugged"))
                manager->onCommand = [] { connectedFlag = false; };
            controlCommandQueue = {ControlCommand{1}, ControlCommand{2}};
            settingQueue = {ReportCommand{3}, ReportCommand{4}};
            reportCommandQueue = {ReportCommand{5}, ReportCommand{6}};
            for (int pass = 0; pass < 3; ++pass)
                devOperator->transferPass();
            QCOMPARE(QString::asprintf("%s: slept %s, sent %d, left %d %d %d, %s",
                                       situation.constData(), sent.join(' ').constData(),
                                       manager->commands.size(), controlCommandQueue.size(),
                                       settingQueue.size(), reportCommandQueue.size(),
                                       raised.join(' ').constData()),
                     QString(row));
            for (const QByteArray &command : manager->commands)
                QCOMPARE(command.mid(1), QByteArray(11, '\0'));
        }
    }

    // The updater does not start the two loops that these passes belong to.
    void other_passes_serve_one_queue_and_look_at_another()
    {
        const ShortCommand value{1, 2, 3, 4, 5, 'v', 7, 8, 9, 10, 11};
        shortCommandQueue = {ShortCommand{0, 0, 0, 0, 0, 'w'}, ShortCommand{0, 0, 0, 0, 0, 'r'}};
        expectedReplyList.resize(2);
        manager->exchangeReply = QByteArray("\1\2\3\4\5v\7\x8\x9\xA\xB\xC", 12);
        devOperator->shortCommandPass();
        QVERIFY(manager->commands.isEmpty()); // the tested queue is empty
        controlCommandQueue = {ControlCommand{}};
        // A write's reply is not kept. One reply less than expected completes the list.
        for (const int kept : {0, 1}) {
            devOperator->shortCommandPass();
            QCOMPARE(shortCommandQueue.size(), 1 - kept);
            QCOMPARE(shortReplyList, QVector<ShortCommand>(kept, value));
            QCOMPARE(raised.join(), QByteArray(kept == 1 ? "complete" : ""));
        }
        QCOMPARE(manager->commands.last(), QByteArray(5, '\0') + 'r' + QByteArray(494, '\0'));

        reportCommandQueue = {ReportCommand{7}};
        devOperator->reportRequestPass();
        QCOMPARE(reportCommandQueue.size(), 1);
        QVERIFY(controlCommandQueue.isEmpty());
    }

    void the_confirmation_time_out_reports_failure_again_and_again()
    {
        devOperator->pendingPackets = numberedPackets(4);
        for (const bool waits : {false, true, true}) {
            devOperator->awaitingConfirmation = waits;
            devOperator->timeOutAction();
            QCOMPARE(devOperator->pendingPackets.isEmpty(), waits);
        }
        QCOMPARE(raised.join(' '), QByteArray("verdict 1 verdict 1"));
    }

    void reports_are_classified()
    {
        // Bytes from byte 4 on; while packets are left, any report confirms.
        for (const QByteArray row : {
                 "no report: : left waiting",
                 "not read, the link is not ready: 0b000005: left waiting",
                 "failed, flag beats success: 0b00000501: verdict 1 waiting",
                 "status that is also dfu state: 0b00081007: dfu 7 left",
                 "status that is also parameter: 0b040705: verdict 2 stored waiting",
                 "code 5 outside a status report: 0a000005: left",
                 "kind 8, other sub-kind: 000408112a: stored left",
                 "model code: 00040100: left",
                 "kind 1, other sub-kind: 00040101: stored left",
                 "last model code: 00040200: model left",
                 "model code of another group: 00030200: left",
                 "kind 3 is a parameter: 00040300: stored left",
                 "end of the main values: 00041200: refresh stored left",
                 "kind 0x12 of another group: 00051200: left",
                 "not stored: 00043400: left",
             }) {
            init();
            devOperator->pendingPackets = numberedPackets(1);
            devOperator->inFlightBatch = numberedPackets(1);
            devOperator->awaitingConfirmation = true;
            linkReadyFlag = !row.startsWith("not read");
            const int before = statusReportCount;
            const QByteArray bytes = row.split(':').at(1).trimmed();
            give(bytes);
            if (devOperator->reportBuffer.size() == 1)
                raised += "stored";
            if (!devOperator->pendingPackets.isEmpty())
                raised += "left";
            if (devOperator->awaitingConfirmation)
                raised += "waiting";
            QCOMPARE(row.left(row.lastIndexOf(':')) + ": " + raised.join(' '), row);
            QCOMPARE(devOperator->inFlightBatch.isEmpty(), devOperator->pendingPackets.isEmpty());
            QCOMPARE(statusReportCount - before, bytes.startsWith("0b") && linkReadyFlag ? 1 : 0);
        }
    }

    void parameter_reports_are_collected_up_to_the_limit()
    {
        ReportBuffer &buffer = devOperator->reportBuffer;
        for (int i = 1; i <= 40; ++i)
            give("000450" + QByteArray::number(i, 16).rightJustified(2, '0'));
        QCOMPARE(buffer.size(), 33);
        QCOMPARE(raised.size(), 10); // from the 31st report on, each time
        QCOMPARE(buffer.at(32).subKind(), std::uint8_t{33});
        // When the buffer is full, a report that starts a new set replaces the first one.
        for (const char *report : {"00042220", "00042221"})
            give(report);
        QCOMPARE(buffer.size(), 33);
        QCOMPARE(buffer.at(0).subKind(), std::uint8_t{0x21});
    }
};

QTEST_GUILESS_MAIN(OperatorTest)
#include "tst_operator.moc"
