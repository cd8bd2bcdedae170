#include "device/hidapi/hid_device_ids.h"
#include "device/hidapi/hid_report_descriptor.h"

#include <QTest>

/// The parsers for report descriptors, device paths and properties. Their input is in heap
/// blocks of the exact size, which lets the sanitizer detect a read past the end.
class tst_hid_parsing : public QObject
{
    Q_OBJECT

private slots:
    void maxInputLength()
    {
        for (const QByteArray row : {
                 "microphone: 0600ff 0901 a101 854b 1500 26ff00 7508 953f 8102 9540 9102 c0: 64",
                 "not numbered: 7508 9540 8102: 65",
                 "output and feature only: 7508 9540 9102 b102: 0",
                 "longest of two ids: 7508 8501 9504 8102 8502 950a 8102: 11",
                 "padding counts, bits are rounded up: 7501 9503 8102 9506 8101: 3",
                 "long item skipped: fe0300 8102ff 7508 9501 8102: 2",
                 "longest that fits: 7508 97feff0000 8102: 65535",
                 "too long by a bit: 7508 96feff 8102 7501 9501 8102: -1",
                 "count beyond 24 bits: 7508 9701000004 8102: -1",
                 "product beyond 32 bits: 7700000100 9700000100 8102: -1",
                 "data cut off: 7508 9540 8102 96ff: -1",
                 "long item cut off in its head: 7508 9540 8102 fe: -1",
                 "long item cut off in its data: fe0300 8102: -1",
             }) {
            const QByteArray name = row.left(row.lastIndexOf(':'));
            const QByteArray bytes = QByteArray::fromHex(name.mid(name.indexOf(':')));
            const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
            const int length = hid_report_descriptor_max_input_length(exact.data(), exact.size());
            QCOMPARE(name + ": " + QByteArray::number(length), row);
        }
    }

    void ids()
    {
        struct Row
        {
            int (*parse)(const char *, hid_device_ids *);
            const char *found;
            QByteArrayList missed;
        };
        for (const Row &row : std::initializer_list<Row>{
                 {hid_ids_from_interface_name,
                  "\\\\?\\hid#vId_3c9E&PID_000b#7&1&0&0000#{4d1e55b2}",
                  {"#VID_3C9E-------000B", "#VID_3C9E", "\\\\?\\HID#3C9E&PID_000B",
                   "#VID_3C9E&PID_+00B", "#VID_zzzz#VID_3C9E&PID_000B"}},
                 {hid_ids_from_hid_id,
                  "0003:00003C9E:0000000B",
                  {"0003:00013C9E:0000000B", "0003:00003C9E:0000000", "0003:00003C9E:0000000B0"}},
                 {hid_ids_from_device_path,
                  "/devices/0003:046D:C52B.0003/0003:3C9E:000B.0004/hidraw/hidraw1",
                  {"/devices/0003:3C9E:000B/ab", "/devices/0003:3C9E:000B.x",
                   "/devices/x0003:3C9E:000B.0004",
                   "/devices/pci0000:00/0000:00:14.0/hidraw/hidraw0"}},
             }) {
            for (const QByteArray &text : row.missed + QByteArrayList{row.found}) {
                const std::vector<char> exact(text.constData(), text.constData() + text.size() + 1);
                hid_device_ids ids{1, 2};
                const bool found = row.parse(exact.data(), &ids) != 0;
                QVERIFY2(found == (text == row.found), text.constData());
                QCOMPARE(int{ids.vendor}, found ? 0x3C9E : 1);
                QCOMPARE(int{ids.product}, found ? 0x000B : 2);
            }
        }
    }
};

QTEST_APPLESS_MAIN(tst_hid_parsing)
#include "tst_hid_parsing.moc"
