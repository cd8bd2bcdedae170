#include "tests/support/RecordingManager.h"
#include "upgrade/DFU_thread.h"
#include "upgrade/DevOperator.h"
#include "upgrade/linkFlags.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

/// The reports that the microphone may send and what the worker thread does with them.
class ReportsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<RecordingManager> manager;
    std::unique_ptr<DevOperator> devOperator;
    QStringList raised;

    /// Handles a report with the given bytes from byte 4 on.
    void give(const QByteArray &hexFromByte4)
    {
        manager->reports.push_back(QByteArray(4, '\0') + QByteArray::fromHex(hexFromByte4));
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

    void reports_are_classified_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("result");
        // While packets are left, any report confirms.
        const auto row = [](const char *name, const char *bytes, const char *result) {
            QTest::newRow(name) << QByteArray(bytes) << QString::fromLatin1(result);
        };
        row("no report", "", "left waiting");
        row("failed, code 2", "0b000002", "verdict 1 waiting");
        row("failed, code 4", "0b000004", "verdict 1 waiting");
        row("failed, flag beats success", "0b00000501", "verdict 1 waiting");
        row("succeeded, code 6", "0b000006", "verdict 2 waiting");
        row("status 3 goes on", "0b000003", "left");
        row("status that is also dfu state", "0b00081007", "dfu 7 left");
        row("status that is also parameter", "0b040705", "verdict 2 stored waiting");
        row("code 5 outside a status report", "0a000005", "left");
        row("dfu state", "000008102a", "dfu 42 left");
        row("kind 8, other sub-kind", "000408112a", "stored left");
        row("model code", "00040100", "left");
        row("kind 1, other sub-kind", "00040101", "stored left");
        row("last model code", "00040200", "model left");
        row("model code of another group", "00030200", "left");
        row("kind 3 is a parameter", "00040300", "stored left");
        row("end of the main values", "00041200", "refresh stored left");
        row("kind 0x12 of another group", "00051200", "left");
        row("not stored", "00043400", "left");
    }

    void reports_are_classified()
    {
        QFETCH(QByteArray, bytes);
        devOperator->pendingPackets = QList<QByteArray>{QByteArray(65, 'K')};
        devOperator->inFlightBatch = QList<QByteArray>{QByteArray(65, 'K')};
        devOperator->awaitingConfirmation = true;
        const int statusReports = statusReportCount;
        if (bytes.isEmpty())
            devOperator->readDeviceReport();
        else
            give(bytes);
        QCOMPARE(statusReportCount - statusReports, bytes.startsWith("0b") ? 1 : 0);
        if (devOperator->reportBuffer.size() == 1)
            raised += QStringLiteral("stored");
        if (!devOperator->pendingPackets.isEmpty())
            raised += QStringLiteral("left");
        if (devOperator->awaitingConfirmation)
            raised += QStringLiteral("waiting");
        QTEST(raised.join(QLatin1Char(' ')), "result");
        QCOMPARE(devOperator->inFlightBatch.isEmpty(), devOperator->pendingPackets.isEmpty());
    }

    void model_codes_are_collected_when_both_bytes_change()
    {
        give("000400001122");
        give("000401001133"); // first byte as before
        give("000401006633"); // second byte as before
        give("000402004455");
        QCOMPARE(modelCodes, (QVector<std::uint8_t>{0x11, 0x22, 0x44, 0x55}));
    }

    void parameter_reports_are_collected_up_to_the_limit()
    {
        const ReportBuffer &buffer = devOperator->reportBuffer;
        const QSignalSpy full(devOperator.get(), &DevOperator::tb210_sysreceive_datasignal);
        for (int i = 1; i <= 40; ++i)
            give("000450" + QByteArray::number(i, 16).rightJustified(2, '0'));
        QCOMPARE(buffer.size(), 33);
        QCOMPARE(full.size(), 10); // from the 31st report on, each time
        QCOMPARE(buffer.at(32).subKind(), std::uint8_t{33});
        // When the buffer is full, a report that starts a new set replaces the first one.
        give("00042220");
        QCOMPARE(buffer.size(), 33);
        QCOMPARE(buffer.at(0).subKind(), std::uint8_t{0x20});
        give("00042221");
        QCOMPARE(buffer.at(0).subKind(), std::uint8_t{0x21});
        // Otherwise it starts the set.
        devOperator->reportBuffer.clear();
        give("000450");
        give("00042220");
        QCOMPARE(buffer.size(), 1);
        give("000434"); // becomes lastReport, but is not stored
        QCOMPARE(devOperator->lastReport.kindByte(), std::uint8_t{0x34});
        // A first report is not replaced while it is the only one.
        give("00052207");
        QCOMPARE(buffer.at(0).subKind(), std::uint8_t{0x20});
    }

    void the_worker_reads_only_when_the_link_is_ready()
    {
        DFU_thread worker(nullptr);
        worker.devOperator = devOperator.get();
        manager->reports.push_back(QByteArray::fromHex("000000000b000005"));
        linkReadyFlag = false;
        worker.onePass();
        QVERIFY(raised.isEmpty());
        linkReadyFlag = true;
        worker.onePass();
        QCOMPARE(raised, QStringList{QStringLiteral("verdict 2")});
    }
};

QTEST_GUILESS_MAIN(ReportsTest)
#include "tst_reports.moc"
