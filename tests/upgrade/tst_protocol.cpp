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
        // Length, frame, frame with its sum, sum. The byte before the frame detects a write
        // outside of it. From the table: [1] = 0x31, [0x31 ^ 2] = [0x33] = 0x01.
        for (const QByteArray row :
             {"2 07010101 07ff0101 ff", "4 0701020707 070102fe07 fe", "1 07070707 07070707 ff"}) {
            const QByteArrayList cells = row.split(' ');
            QByteArray bytes = QByteArray::fromHex(cells.at(1));
            PlainProtocol protocol;
            QCOMPARE(protocol.frameLength(), 11);
            protocol.setFrameLength(cells.first().toInt());
            auto *const frame = reinterpret_cast<std::uint8_t *>(bytes.data()) + 1;
            QCOMPARE(QByteArray::number(protocol.makeChecksum(frame), 16), cells.last());
            QCOMPARE(bytes.toHex(), cells.at(2));
            QCOMPARE(int{protocol.makeChecksum(nullptr)}, 0);
        }
        // This frame's sum depends on every entry of the table.
        QByteArray frame;
        for (int i = 0; i < 8 * 256 + 2; ++i)
            frame += static_cast<char>(i);
        PlainProtocol protocol;
        protocol.setFrameLength(frame.size());
        QCOMPARE(int{protocol.makeChecksum(reinterpret_cast<std::uint8_t *>(frame.data()))}, 0x46);
    }

    void a_reply_is_checked()
    {
        // Bytes 1 to 9 add up to 0x0204, so bytes 10 and 11 must be 0xFDFC. Byte 0 is not part
        // of the sum, and in another group (byte 5) the sum must be 0.
        const QByteArray good("\x55\xFF\xFF\0\0\x04\x01\x01\0\0\xFC\xFD", 12);
        for (const int at : {0, 9, 10, 11, 5}) {
            QByteArray reply = good;
            reply[at] = '\3';
            const bool valid = PlainProtocol().verifyReply(
                reinterpret_cast<const std::uint8_t *>(reply.constData()));
            QVERIFY2(valid == (at == 0), qPrintable(QString::number(at)));
        }
    }

    void both_ids_of_one_model_are_wanted()
    {
        PlainProtocol protocol;
        QVERIFY(protocol.isSupported(nullptr, 0x3C9E, 0x0100));
        QVERIFY(!protocol.isSupported(nullptr, 0x31B2, 0x0100)); // ids of different entries
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
