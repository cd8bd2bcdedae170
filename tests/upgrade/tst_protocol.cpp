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
    void a_frame_is_summed_up_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<QByteArray>("summed");
        QTest::newRow("nothing covered") << 2 << QByteArray("010101") << QByteArray("ff0101");
        // From the table: [1] = 0x31, [0x31 ^ 2] = [0x33] = 0x01.
        QTest::newRow("two bytes") << 4 << QByteArray("01020707") << QByteArray("0102fe07");
        QTest::newRow("last table entry") << 3 << QByteArray("ff0707") << QByteArray("ff9807");
        QTest::newRow("no place for it") << 1 << QByteArray("070707") << QByteArray("070707");
    }

    void a_frame_is_summed_up()
    {
        QFETCH(int, length);
        QFETCH(QByteArray, frame);
        // The byte before the frame detects a write outside of it.
        QByteArray bytes = '\7' + QByteArray::fromHex(frame);
        PlainProtocol protocol;
        QCOMPARE(protocol.frameLength(), 11);
        protocol.setFrameLength(length);
        const int sum = protocol.makeChecksum(reinterpret_cast<std::uint8_t *>(bytes.data()) + 1);
        QTEST(bytes.mid(1).toHex(), "summed");
        QCOMPARE(bytes.at(0), '\7');
        QCOMPARE(sum, length < 2 ? 0xFF : int{static_cast<std::uint8_t>(bytes.at(length - 1))});
        QCOMPARE(int{protocol.makeChecksum(nullptr)}, 0);
    }

    void a_reply_is_checked()
    {
        const auto isValidWith = [](int at, char byte) {
            // Bytes 1 to 9 add up to 0x0204, so bytes 10 and 11 must be 0xFDFC.
            QByteArray reply("\x55\xFF\xFF\0\0\x04\x01\x01\0\0\xFC\xFD", 12);
            reply[at] = byte;
            return PlainProtocol().verifyReply(
                reinterpret_cast<const std::uint8_t *>(reply.constData()));
        };
        QVERIFY(isValidWith(0, '\1')); // not part of the sum
        QVERIFY(!isValidWith(9, '\1'));
        QVERIFY(!isValidWith(10, '\0'));
        QVERIFY(!isValidWith(11, '\0'));
        QVERIFY(!isValidWith(5, '\3')); // in another group the sum must be 0
    }

    void the_checksum_table_is_whole()
    {
        // The table is linear, so eight entries determine all of it.
        const auto entry = [](int index) {
            std::array<std::uint8_t, 3> frame{static_cast<std::uint8_t>(index)};
            PlainProtocol protocol;
            protocol.setFrameLength(frame.size());
            return ~protocol.makeChecksum(frame.data()) & 0xFF;
        };
        const std::array<int, 8> basis = {0x31, 0x62, 0xC4, 0x88, 0x21, 0x73, 0xE6, 0xCC};
        for (int index = 0; index < 256; ++index) {
            int expected = 0;
            for (std::size_t bit = 0; bit < basis.size(); ++bit)
                expected ^= (index >> bit & 1) != 0 ? basis.at(bit) : 0;
            QCOMPARE(entry(index), expected);
        }
    }

    void both_ids_of_one_model_are_wanted()
    {
        PlainProtocol protocol;
        QVERIFY(protocol.isSupported(nullptr, 0x3C9E, 0x0100));
        QVERIFY(!protocol.isSupported(nullptr, 0x31B2, 0x0100)); // ids of different entries
        QVERIFY(!protocol.isSupported(nullptr, 0x3C9E, 0x0010)); // in upgrade mode
    }

    void an_image_is_cut_into_packets()
    {
        const QByteArray entry = record(11, 'e');
        const FirmwareFile file =
            FirmwareFile::parse(entry + record(100, 'a') + record(64, 'b') + record(65, 'c'));
        QVERIFY2(file.isValid(), qPrintable(file.fault().text()));
        const QList<QByteArray> expected = {
            'K' + entry + QByteArray(53, '\0'),
            'K' + record(100, 'a').left(64),
            'K' + QByteArray(36, 'a') + QByteArray(28, '\0'),
            'K' + record(64, 'b'),
            'K' + record(65, 'c').left(64),
            'K' + QByteArray("c") + QByteArray(63, '\0'),
        };
        QCOMPARE(FirmwareFile::cut(file.records()), expected);
        // The smallest image: three packets, with records that are only a head.
        const FirmwareFile least = FirmwareFile::parse(entry + record(3) + record(3));
        QCOMPARE(FirmwareFile::cut(least.records()).size(), 3);
    }

    void a_malformed_image_is_refused_whole_data()
    {
        QTest::addColumn<QByteArray>("image");
        QTest::addColumn<QString>("place");
        const QByteArray good = record(11) + record(100) + record(64);
        const QString third = QStringLiteral("record 2 at offset 111: ");
        QTest::newRow("empty") << QByteArray() << QStringLiteral("record 0 at offset 0: ");
        QTest::newRow("record 0 of 10 bytes")
            << record(10) + record(100) << QStringLiteral("record 0 at offset 0: ");
        QTest::newRow("record 0 of 12 bytes")
            << record(12) + record(100) << QStringLiteral("record 0 at offset 0: ");
        QTest::newRow("length below 3") << QByteArray(good).replace(112, 2, "\2\0", 2) << third;
        QTest::newRow("past the end") << good.chopped(1) << third;
        QTest::newRow("trailing bytes")
            << good + "\3\3" << QStringLiteral("record 3 at offset 175: ");
        QTest::newRow("header only") << record(11) << QStringLiteral("record 1 at offset 11: ");
        QTest::newRow("one data packet")
            << record(11) + record(64) << QStringLiteral("record 1 at offset 11: ");
    }

    void a_malformed_image_is_refused_whole()
    {
        QFETCH(QByteArray, image);
        QFETCH(QString, place);
        const FirmwareFile file = FirmwareFile::parse(image);
        QVERIFY(!file.isValid());
        QVERIFY(file.records().isEmpty());
        QVERIFY2(file.fault().text().startsWith(place), qPrintable(file.fault().text()));
        QCOMPARE(file.fault().isTooSmall, place.startsWith(QLatin1String("record 1 ")));
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
