#include "upgrade/CFirmwareUpgradeProtocol.h"
#include "upgrade/FirmwareFile.h"
#include "upgrade/IProtocolListener.h"

#include <QTest>

namespace {

/// The protocol with its notices, which it leaves to others, filled in.
class PlainProtocol : public CFirmwareUpgradeProtocol
{
public:
    void onDeviceEvent(std::uint32_t /*word*/) override {}
    void onDeviceConnected(ICommDeviceMgmt * /*manager*/) override {}
    void onDeviceDisconnected() override {}
    void attach(IProtocolListener *attached) { listener = attached; }
};

class CountingListener : public IProtocolListener
{
public:
    void first(std::uintptr_t word) override { firstWord = word; }
    void second(std::uintptr_t word) override { secondWord = word; }
    std::uintptr_t firstWord = 0;
    std::uintptr_t secondWord = 0;
};

QByteArray record(int length, char fill = 'x')
{
    QByteArray bytes(length, fill);
    bytes[1] = static_cast<char>(length & 0xFF);
    bytes[2] = static_cast<char>(length >> 8);
    return bytes;
}

} // namespace

/// The rules of the wire: control frames, firmware images, packets.
class ProtocolTest : public QObject
{
    Q_OBJECT

private slots:
    void a_frame_is_summed_up_data();
    void a_frame_is_summed_up();
    void a_reply_is_checked_data();
    void a_reply_is_checked();
    void the_supported_models_are_linked();
    void words_are_forwarded_to_an_attached_listener();
    void without_a_manager_everything_fails();
    void an_image_is_cut_into_packets();
    void a_malformed_image_is_refused_whole_data();
    void a_malformed_image_is_refused_whole();
    void the_version_is_read_from_signed_bytes();
};

void ProtocolTest::a_frame_is_summed_up_data()
{
    QTest::addColumn<int>("frameLength");
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("sum");
    QTest::addColumn<int>("place");
    QTest::newRow("nothing covered") << 2 << QByteArray(4, '\1') << 0xFF << 0;
    // From the table: [1] = 0x31, [0x31 ^ 2] = [0x33] = 0x01.
    QTest::newRow("one byte") << 3 << QByteArray("\1\7\7\7", 4) << 0xCE << 1;
    QTest::newRow("two bytes") << 4 << QByteArray("\1\2\7\7", 4) << 0xFE << 2;
    QTest::newRow("last table entry") << 3 << QByteArray("\xFF\7\7", 3) << 0x98 << 1;
    QTest::newRow("no place for it") << 1 << QByteArray(4, '\7') << 0xFF << -1;
}

void ProtocolTest::a_frame_is_summed_up()
{
    QFETCH(int, frameLength);
    QFETCH(QByteArray, frame);
    QFETCH(int, sum);
    QFETCH(int, place);
    PlainProtocol protocol;
    QCOMPARE(protocol.frameLength(), 11);
    QCOMPARE(protocol.setFrameLength(frameLength), frameLength);
    QByteArray expected = frame;
    if (place >= 0)
        expected[place] = static_cast<char>(sum);
    QCOMPARE(int{protocol.makeChecksum(reinterpret_cast<std::uint8_t *>(frame.data()))}, sum);
    QCOMPARE(frame, expected);
    QCOMPARE(int{protocol.makeChecksum(nullptr)}, 0);
}

void ProtocolTest::a_reply_is_checked_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<bool>("valid");
    // Bytes 1 to 9 sum up to 0x0204, so 0xFDFC is wanted in bytes 10 and 11.
    const QByteArray good("\x55\xFF\xFF\0\0\x04\x01\x01\0\0\xFC\xFD", 12);
    QTest::newRow("good") << good << true;
    QByteArray bad = good;
    bad[10] = '\0';
    QTest::newRow("wrong low byte") << bad << false;
    bad = good;
    bad[11] = '\0';
    QTest::newRow("wrong high byte") << bad << false;
    bad = good;
    bad[9] = '\1';
    QTest::newRow("last byte covered") << bad << false;
    bad = good;
    bad[0] = '\1';
    QTest::newRow("first byte not covered") << bad << true;
    QTest::newRow("all zero") << QByteArray(12, '\0') << true;
    bad = good;
    bad[5] = '\3';
    QTest::newRow("other group wants zeros") << bad << false;
}

void ProtocolTest::a_reply_is_checked()
{
    QFETCH(QByteArray, reply);
    QTEST(PlainProtocol().verifyReply(reinterpret_cast<const std::uint8_t *>(reply.constData())),
          "valid");
}

void ProtocolTest::the_supported_models_are_linked()
{
    PlainProtocol protocol;
    QStringList models;
    for (const SupportedModel *m = protocol.supportedModels(); m != nullptr; m = m->next)
        models += QStringLiteral("%1 %2:%3")
                      .arg(QString::fromLatin1(m->name.data()))
                      .arg(m->vid, 4, 16)
                      .arg(m->pid, 4, 16, QLatin1Char('0'));
    QCOMPARE(models.join(QLatin1Char('|')),
             QStringLiteral("Velmo LV-330 2b53:006a|TQ736 3c9e:0101|ZRX650 31b2:0011|"
                            "TB210 3c9e:0100|LM217 3c9e:0102|TQ905 3c9e:0103"));
    QVERIFY(protocol.isSupported(nullptr, 0x3C9E, 0x0100));
    QVERIFY(!protocol.isSupported(nullptr, 0x3C9E, 0x0010));
    QVERIFY(!protocol.isSupported(nullptr, 0x31B2, 0x0100)); // ids of two entries
}

void ProtocolTest::words_are_forwarded_to_an_attached_listener()
{
    PlainProtocol protocol;
    protocol.forwardFirst(1); // nobody there
    protocol.forwardSecond(1);
    CountingListener listener;
    protocol.attach(&listener);
    protocol.forwardFirst(7);
    protocol.forwardSecond(8);
    QCOMPARE(listener.firstWord, std::uintptr_t{7});
    QCOMPARE(listener.secondWord, std::uintptr_t{8});
}

void ProtocolTest::without_a_manager_everything_fails()
{
    PlainProtocol protocol;
    std::array<std::uint8_t, 65> bytes{};
    QCOMPARE(protocol.sendCommand(bytes.data(), bytes.data(), 12), -1);
    QVERIFY(!protocol.exchange({}, bytes.data()));
    QVERIFY(!protocol.sendPacket(bytes.data(), bytes.data(), 0, 200));
    QVERIFY(!protocol.readReport(bytes.data()));
}

void ProtocolTest::an_image_is_cut_into_packets()
{
    const QByteArray entry = record(11, 'e');
    const FirmwareFile file = FirmwareFile::parse(entry + record(100, 'a') + record(64, 'b') +
                                                  record(65, 'c') + record(3, 'd'));
    QVERIFY2(file.isValid(), qPrintable(file.fault().text()));
    const QList<QByteArray> packets = FirmwareFile::cut(file.records());
    const QList<QByteArray> expected = {
        'K' + entry + QByteArray(53, '\0'),
        'K' + record(100, 'a').left(64),
        'K' + QByteArray(36, 'a') + QByteArray(28, '\0'),
        'K' + record(64, 'b'),
        'K' + record(65, 'c').left(64),
        'K' + QByteArray("c") + QByteArray(63, '\0'),
        'K' + record(3, 'd') + QByteArray(61, '\0'),
    };
    QCOMPARE(packets, expected);
}

void ProtocolTest::a_malformed_image_is_refused_whole_data()
{
    QTest::addColumn<QByteArray>("image");
    QTest::addColumn<int>("record");
    QTest::addColumn<int>("offset");
    const QByteArray good = record(11) + record(100) + record(64);
    QByteArray tooShort = good;
    tooShort[112] = 2;
    tooShort[113] = 0;
    QTest::newRow("empty") << QByteArray() << 0 << 0;
    QTest::newRow("shorter than a head") << QByteArray(2, '\3') << 0 << 0;
    QTest::newRow("shorter than record 0") << record(11).left(10) << 0 << 0;
    QTest::newRow("record 0 of 10 bytes") << record(10) + record(100) << 0 << 0;
    QTest::newRow("record 0 of 12 bytes") << record(12) + record(100) << 0 << 0;
    QTest::newRow("length below 3") << tooShort << 2 << 111;
    QTest::newRow("past the end") << good.chopped(1) << 2 << 111;
    QTest::newRow("two trailing bytes") << good + QByteArray(2, '\3') << 3 << 175;
    QTest::newRow("three trailing zeros") << good + QByteArray(3, '\0') << 3 << 175;
    QTest::newRow("no data record") << record(11) << 1 << 11;
    QTest::newRow("one data packet") << record(11) + record(64) << 1 << 11;
}

void ProtocolTest::a_malformed_image_is_refused_whole()
{
    QFETCH(QByteArray, image);
    QFETCH(int, record);
    QFETCH(int, offset);
    const FirmwareFile file = FirmwareFile::parse(image);
    QVERIFY(!file.isValid());
    QVERIFY(file.records().isEmpty());
    QCOMPARE(file.fault().record, record);
    QCOMPARE(file.fault().offset, offset);
    QVERIFY(file.fault().text().startsWith(
        QStringLiteral("record %1 at offset %2: ").arg(record).arg(offset)));
}

void ProtocolTest::the_version_is_read_from_signed_bytes()
{
    QByteArray first = record(80, '\0');
    first[77] = 1;
    first[78] = static_cast<char>(0x80);
    first[79] = static_cast<char>(0xFF);
    QCOMPARE(FirmwareFile::versionText({record(11), first}), QStringLiteral("V1.-128.-1"));
    QCOMPARE(FirmwareFile::versionText({record(11), first.chopped(1)}), QStringLiteral("V0.0.0"));
    QCOMPARE(FirmwareFile::versionText({record(11)}), QStringLiteral("V0.0.0"));
}

QTEST_GUILESS_MAIN(ProtocolTest)
#include "tst_protocol.moc"
