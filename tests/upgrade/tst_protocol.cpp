#include "tests/support/PlainProtocol.h"
#include "upgrade/FirmwareFile.h"

#include <QTest>

/// Control frames, and the version of an image.
class ProtocolTest : public QObject
{
    Q_OBJECT

private slots:
    void a_frame_is_summed_up()
    {
        // This frame's sum depends on every entry of the table.
        constexpr int summedUp = 8 * 256;
        QByteArray frame;
        for (int i = 0; i < summedUp + 2; ++i)
            frame += static_cast<char>(i);
        PlainProtocol protocol;
        protocol.setFrameLength(frame.size());
        QCOMPARE(int{protocol.makeChecksum(reinterpret_cast<std::uint8_t *>(frame.data()))}, 0x46);
        QCOMPARE(frame.mid(summedUp - 1), QByteArray("\xFF\x46\x01"));
    }

    void the_version_is_read_from_signed_bytes()
    {
        const QByteArray record = QByteArray(77, '\0') + "\x01\x80\xFF";
        QCOMPARE(FirmwareFile::versionText({{}, record}), "V1.-128.-1");
        QCOMPARE(FirmwareFile::versionText({{}, record.chopped(1)}), "V0.0.0");
        QCOMPARE(FirmwareFile::versionText({record}), "V0.0.0");
    }
};

QTEST_GUILESS_MAIN(ProtocolTest)
#include "tst_protocol.moc"
