#include "device/hidapi/hid_device_ids.h"
#include "device/hidapi/hid_report_descriptor.h"

#include <QTest>

using IdParser = int (*)(const char *, hid_device_ids *);
Q_DECLARE_METATYPE(IdParser)

/// The parsers for report descriptors, device paths and properties.
class tst_hid_parsing : public QObject
{
    Q_OBJECT

private slots:
    void maxInputLength_data()
    {
        QTest::addColumn<QByteArray>("hex");
        QTest::addColumn<int>("length");

        QTest::newRow("the microphone: id 4B, 63 bytes in, 64 out")
            << QByteArray("0600ff 0901 a101 854b 1500 26ff00 7508 953f 0901 8102 9540 0901 9102 c0")
            << 64;
        QTest::newRow("not numbered, 64 bytes") << QByteArray("7508 9540 8102") << 65;
        QTest::newRow("output and feature only") << QByteArray("7508 9540 9102 b102") << 0;
        QTest::newRow("longest of two ids")
            << QByteArray("7508 8501 9504 8102 8502 950a 8102") << 11;
        QTest::newRow("padding counts, bits are rounded up")
            << QByteArray("7501 9503 8102 9506 8101") << 3;
        QTest::newRow("32-bit count") << QByteArray("7508 9700020000 8102") << 513;
        QTest::newRow("long item skipped") << QByteArray("fe0300 8102ff 7508 9501 8102") << 2;
        QTest::newRow("longest that fits") << QByteArray("7508 96feff 8102") << 65535;

        QTest::newRow("too long by a bit") << QByteArray("7508 96feff 8102 7501 9501 8102") << -1;
        QTest::newRow("product beyond 32 bits") << QByteArray("7700000100 9700000100 8102") << -1;
        QTest::newRow("data cut off") << QByteArray("7508 9540 8102 96ff") << -1;
        QTest::newRow("long item cut off in its data") << QByteArray("fe0300 8102") << -1;
    }

    void maxInputLength()
    {
        QFETCH(QByteArray, hex);
        // A heap block of the exact size lets the sanitizer detect a read past its end.
        const QByteArray decoded = QByteArray::fromHex(hex);
        const std::vector<std::uint8_t> descriptor(decoded.begin(), decoded.end());
        QTEST(hid_report_descriptor_max_input_length(descriptor.data(), descriptor.size()),
              "length");
    }

    void ids_data()
    {
        QTest::addColumn<IdParser>("parser");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("found");

        const auto row = [](const char *name, IdParser parser, const char *text, bool found) {
            QTest::newRow(name) << parser << QByteArray(text) << found;
        };
        const IdParser windows = hid_ids_from_interface_name;
        row("Windows", windows, "\\\\?\\HID#VID_3C9E&PID_000B#7&1&0&0000#{4d1e55b2}", true);
        row("Windows, lower case", windows, "\\\\?\\hid#vid_3c9e&pid_000b#7", true);
        row("Windows, other product marker", windows, "#VID_3C9E-------000B", false);
        row("Windows, cut off in the product", windows, "#VID_3C9E&PID_000", false);
        row("Windows, no marker", windows, "\\\\?\\HID#3C9E&PID_000B", false);
        row("Windows, sign is no digit", windows, "#VID_3C9E&PID_+00B", false);
        row("Windows, first marker counts", windows, "#VID_zzzz#VID_3C9E&PID_000B", false);

        const IdParser hidId = hid_ids_from_hid_id;
        row("HID_ID", hidId, "0003:00003C9E:0000000B", true);
        row("HID_ID, more than 16 bits", hidId, "0003:00013C9E:0000000B", false);
        row("HID_ID, cut off", hidId, "0003:00003C9E:0000000", false);
        row("HID_ID, something behind", hidId, "0003:00003C9E:0000000B0", false);

        const IdParser path = hid_ids_from_device_path;
        row("path, nested", path, "/devices/0003:046D:C52B.0003/0003:3C9E:000B.0004/hidraw/hidraw1",
            true);
        row("path, at its end", path, "/devices/0003:3C9E:000B.0004", true);
        row("path, no instance", path, "/devices/0003:3C9E:000B/ab", false);
        row("path, not a component's begin", path, "/devices/x0003:3C9E:000B.0004", false);
        row("path, bus addresses only", path, "/devices/pci0000:00/0000:00:14.0/hidraw/hidraw0",
            false);
    }

    void ids()
    {
        QFETCH(IdParser, parser);
        QFETCH(QByteArray, text);
        QFETCH(bool, found);
        const std::vector<char> exact(text.constData(), text.constData() + text.size() + 1);
        hid_device_ids ids{1, 2};
        QCOMPARE(parser(exact.data(), &ids) != 0, found);
        QCOMPARE(int(ids.vendor), found ? 0x3C9E : 1);
        QCOMPARE(int(ids.product), found ? 0x000B : 2);
    }
};

QTEST_APPLESS_MAIN(tst_hid_parsing)
#include "tst_hid_parsing.moc"
