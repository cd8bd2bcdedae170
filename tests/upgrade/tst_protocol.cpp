#include "tests/support/PlainProtocol.h"
#include "upgrade/FirmwareFile.h"

#include <QTest>

namespace {

QByteArray record(int length, char fill = 'x')
{
    QByteArray bytes(length, fill);
    bytes[1] = static_cast<char>(length & 0xFF);
    bytes[2] = static_cast<char>(length >> 8);
    return bytes;
}

} // namespace

/// Control frames, firmware images and packets.
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
        // The table is linear, so the entries of the eight bits determine all of it.
        const std::array<int, 8> entries = {0x31, 0x62, 0xC4, 0x88, 0x21, 0x73, 0xE6, 0xCC};
        for (int index = 0; index < 256; ++index) {
            std::array<std::uint8_t, 3> frame{static_cast<std::uint8_t>(index)};
            PlainProtocol protocol;
            protocol.setFrameLength(frame.size());
            int difference = ~protocol.makeChecksum(frame.data()) & 0xFF;
            for (std::size_t bit = 0; bit < entries.size(); ++bit)
                difference ^= (index >> bit & 1) * entries.at(bit);
            QVERIFY2(difference == 0, qPrintable(QString::number(index)));
        }
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

    void an_image_is_cut_into_packets()
    {
        const QByteArray entry = record(11, 'e');
        const FirmwareFile file = FirmwareFile::parse(entry + record(400, 'a') + record(64, 'b'));
        QVERIFY2(file.isValid(), qPrintable(file.fault().text()));
        QList<QByteArray> packets = FirmwareFile::cut(file.records());
        QCOMPARE(packets.size(), 1 + 7 + 1);
        QCOMPARE(packets.at(0), 'K' + entry + QByteArray(53, '\0'));
        QCOMPARE(packets.at(1), 'K' + record(400, 'a').left(64));
        QCOMPARE(packets.at(7), 'K' + QByteArray(16, 'a') + QByteArray(48, '\0'));
        QCOMPARE(packets.at(8), 'K' + record(64, 'b'));
        // The smallest image: three packets, with records that are only a head.
        QVERIFY(FirmwareFile::parse(entry + record(3) + record(3)).isValid());
    }

    void a_malformed_image_is_refused_whole()
    {
        const QByteArray good = record(11) + record(100) + record(64);
        for (const auto &[image, fault] : std::initializer_list<QPair<QByteArray, QString>>{
                 {{}, "record 0 at offset 0: "},
                 {record(10) + record(100), "record 0 at offset 0: "},
                 {record(12) + record(100), "record 0 at offset 0: "},
                 {QByteArray(good).replace(112, 2, "\2\0", 2), "record 2 at offset 111: "},
                 {good.chopped(1), "record 2 at offset 111: "},
                 {good + "\3\3", "record 3 at offset 175: "},
                 {record(11) + record(64), "record 1 at offset 11: the image makes 2 packets, "},
             }) {
            const FirmwareFile file = FirmwareFile::parse(image);
            QVERIFY(!file.isValid() && file.records().isEmpty());
            QCOMPARE(file.fault().text().left(fault.size()), fault);
            QCOMPARE(file.fault().isTooSmall, fault.contains("the image makes"));
        }
    }

    void the_version_is_read_from_signed_bytes()
    {
        const QByteArray first = record(77, '\0') + "\x01\x80\xFF";
        QCOMPARE(FirmwareFile::versionText({record(11), first}), QStringLiteral("V1.-128.-1"));
        QCOMPARE(FirmwareFile::versionText({{}, first.chopped(1)}), QStringLiteral("V0.0.0"));
        QCOMPARE(FirmwareFile::versionText({record(11)}), QStringLiteral("V0.0.0"));
    }
};

QTEST_GUILESS_MAIN(ProtocolTest)
#include "tst_protocol.moc"
