#include "tests/support/RecordingManager.h"
#include "upgrade/DFU_thread.h"
#include "upgrade/DevOperator.h"
#include "upgrade/linkFlags.h"

#include <QMetaMethod>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

/// A report with the given bytes from byte 4 on.
QByteArray report(const QByteArray &fromByte4)
{
    return (QByteArray(4, '\0') + fromByte4).leftJustified(64, '\0');
}

} // namespace

/// Every report the microphone may send, and what the worker thread makes of it.
class ReportsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<RecordingManager> manager;
    std::unique_ptr<DevOperator> devOperator;
    QStringList raised;

    void give(const QByteArray &bytes)
    {
        manager->reports.push_back(bytes);
        devOperator->readDeviceReport();
    }

private slots:
    void init()
    {
        manager = std::make_unique<RecordingManager>();
        devOperator = std::make_unique<DevOperator>(nullptr);
        devOperator->setManager(manager.get());
        raised.clear();
        modelCodes.clear();
        const DevOperator *const sender = devOperator.get();
        connect(sender, &DevOperator::tb210_break_fail_mess, this,
                [this](int status) { raised += QStringLiteral("verdict %1").arg(status); });
        connect(sender, &DevOperator::blockDfuStatus, this,
                [this](int state) { raised += QStringLiteral("dfu %1").arg(state); });
        connect(sender, &DevOperator::blockModelCodel, this,
                [this] { raised += QStringLiteral("model"); });
        connect(sender, &DevOperator::tb210_refresh_main_signal, this,
                [this] { raised += QStringLiteral("refresh"); });
    }

    void reports_are_classified_data();
    void reports_are_classified();
    void no_report_does_nothing();
    void model_codes_are_collected_when_both_bytes_change();
    void parameter_reports_are_collected_up_to_the_limit();
    void the_worker_reads_only_when_the_link_is_ready();
    void signals_and_slots_have_their_indices();
};

void ReportsTest::reports_are_classified_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("signalsRaised");
    QTest::addColumn<int>("stored");
    QTest::addColumn<bool>("packetsLeft");

    const auto row = [](const char *name, const QByteArray &bytes, const char *signalsRaised,
                        int stored, bool left) {
        QTest::newRow(name) << bytes << QString::fromLatin1(signalsRaised) << stored << left;
    };
    row("failed, flag", QByteArray("\x0B\0\0\0\1", 5), "verdict 1", 0, false);
    row("failed, code 2", QByteArray("\x0B\0\0\2", 4), "verdict 1", 0, false);
    row("failed, code 4", QByteArray("\x0B\0\0\4", 4), "verdict 1", 0, false);
    row("failed, flag beats success", QByteArray("\x0B\0\0\5\1", 5), "verdict 1", 0, false);
    row("succeeded, code 5", QByteArray("\x0B\0\0\5", 4), "verdict 2", 0, false);
    row("succeeded, code 6", QByteArray("\x0B\0\0\6", 4), "verdict 2", 0, false);
    row("status 3 goes on", QByteArray("\x0B\0\0\3", 4), "", 0, true);
    row("status that is also dfu state", QByteArray("\x0B\0\x08\x10\7", 5), "dfu 7", 0, true);
    row("status that is also parameter", QByteArray("\x0B\4\7\5", 4), "verdict 2", 1, false);
    row("code 5 outside a status report", QByteArray("\x0A\0\0\5", 4), "", 0, true);
    row("dfu state", QByteArray("\0\0\x08\x10\x2A", 5), "dfu 42", 0, true);
    row("kind 8, other sub-kind", QByteArray("\0\4\x08\x11\x2A", 5), "", 1, true);
    row("model code", QByteArray("\0\4\1\0", 4), "", 0, true);
    row("kind 1, other sub-kind", QByteArray("\0\4\1\1", 4), "", 1, true);
    row("last model code", QByteArray("\0\4\2\0", 4), "model", 0, true);
    row("model code of another group", QByteArray("\0\3\2\0", 4), "", 0, true);
    row("kind 3 is a parameter", QByteArray("\0\4\3\0", 4), "", 1, true);
    row("end of the main values", QByteArray("\0\4\x12\0", 4), "refresh", 1, true);
    row("kind 0x12 of another group", QByteArray("\0\5\x12\0", 4), "", 0, true);
    row("not stored", QByteArray("\0\4\x34\0", 4), "", 0, true);
    row("parameter", QByteArray("\0\4\x50\0", 4), "", 1, true);
}

void ReportsTest::reports_are_classified()
{
    QFETCH(QByteArray, bytes);
    devOperator->pendingPackets = QList<QByteArray>{QByteArray(65, 'K')};
    devOperator->inFlightBatch = QList<QByteArray>{QByteArray(65, 'K')};
    devOperator->awaitingConfirmation = true;
    const int statusReports = statusReportCount;
    give(report(bytes));
    QCOMPARE(statusReportCount - statusReports, bytes.at(0) == 0x0B ? 1 : 0);
    QTEST(raised.join(QLatin1Char(' ')), "signalsRaised");
    QTEST(devOperator->reportBuffer.size(), "stored");
    QTEST(!devOperator->pendingPackets.isEmpty(), "packetsLeft");
    QTEST(!devOperator->inFlightBatch.isEmpty(), "packetsLeft");
    // While packets remain any report confirms, whatever it holds.
    QFETCH(bool, packetsLeft);
    QCOMPARE(static_cast<bool>(devOperator->awaitingConfirmation), !packetsLeft);
}

void ReportsTest::no_report_does_nothing()
{
    devOperator->pendingPackets = QList<QByteArray>{QByteArray(65, 'K')};
    devOperator->awaitingConfirmation = true;
    devOperator->readDeviceReport();
    QVERIFY(raised.isEmpty());
    QVERIFY(devOperator->awaitingConfirmation);
}

void ReportsTest::model_codes_are_collected_when_both_bytes_change()
{
    give(report(QByteArray("\0\4\0\0\x11\x22", 6)));
    give(report(QByteArray("\0\4\1\0\x11\x33", 6))); // first byte as before
    give(report(QByteArray("\0\4\1\0\x66\x33", 6))); // second byte as before
    give(report(QByteArray("\0\4\2\0\x44\x55", 6)));
    QCOMPARE(modelCodes, (QVector<std::uint8_t>{0x11, 0x22, 0x44, 0x55}));
}

void ReportsTest::parameter_reports_are_collected_up_to_the_limit()
{
    const QSignalSpy full(devOperator.get(), &DevOperator::tb210_sysreceive_datasignal);
    for (int i = 0; i < 40; ++i) {
        give(report(QByteArray("\0\4\x50", 3) + static_cast<char>(i)));
        QCOMPARE(devOperator->reportBuffer.size(), qMin(i + 1, 33));
    }
    QCOMPARE(full.size(), 10); // from the 31st report on, each time
    QCOMPARE(devOperator->reportBuffer.at(32).subKind(), std::uint8_t{32});
    // A report that would begin a new set replaces the first one when full, ...
    give(report(QByteArray("\0\4\x22\x20", 4)));
    QCOMPARE(devOperator->reportBuffer.size(), 33);
    QCOMPARE(devOperator->reportBuffer.at(0).kindByte(), std::uint8_t{0x22});
    give(report(QByteArray("\0\4\x22\x21", 4)));
    QCOMPARE(devOperator->reportBuffer.at(0).subKind(), std::uint8_t{0x21});
    // ... and begins the set otherwise.
    devOperator->reportBuffer.clear();
    give(report(QByteArray("\0\4\x50", 3)));
    give(report(QByteArray("\0\4\x22\x20", 4)));
    QCOMPARE(devOperator->reportBuffer.size(), 1);
    QCOMPARE(devOperator->lastReport.kindByte(), std::uint8_t{0x22});
    give(report(QByteArray("\0\4\x34", 3))); // not stored, but the latest
    QCOMPARE(devOperator->lastReport.kindByte(), std::uint8_t{0x34});
    // A first report stands as it is while it is the only one.
    give(report(QByteArray("\0\5\x22\7", 4)));
    QCOMPARE(devOperator->reportBuffer.at(0).subKind(), std::uint8_t{0x20});
}

void ReportsTest::the_worker_reads_only_when_the_link_is_ready()
{
    DFU_thread worker(nullptr);
    worker.devOperator = devOperator.get();
    manager->reports.push_back(report(QByteArray("\x0B\0\0\5", 4)));
    linkReadyFlag = false;
    worker.onePass();
    QCOMPARE(static_cast<int>(manager->reports.size()), 1);
    linkReadyFlag = true;
    worker.onePass();
    QCOMPARE(raised, QStringList{QStringLiteral("verdict 2")});
}

void ReportsTest::signals_and_slots_have_their_indices()
{
    const QMetaObject &meta = DevOperator::staticMetaObject;
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        names += QString::fromLatin1(meta.method(i).methodSignature());
    QCOMPARE(names.join(QLatin1Char(' ')),
             QStringLiteral("connectDevice() disconnectDevice() refresh_main_signal() "
                            "tb210_refresh_main_signal() tb210_sysreceive_datasignal() "
                            "tb210_progress_current_value(int) tb210_break_fail_mess(int) "
                            "blockDfuStatus(int) blockModelCodel() startSendMsg() "
                            "tb210_startSendMsg() tb210_startReceiveMsg() timeOutAction()"));
}

QTEST_GUILESS_MAIN(ReportsTest)
#include "tst_reports.moc"
