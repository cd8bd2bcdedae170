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
        // Parser, text, whether it has the ids.
        using Parser = int(const char *, hid_device_ids *);
        for (const auto &[parse, text, hasIds] :
             std::initializer_list<std::tuple<Parser *, QByteArray, bool>>{
                 {hid_ids_from_interface_name, "\\\\?\\hid#vId_3c9E&PID_000b#7&1&0&0000#{4d}",
                  true},
                 {hid_ids_from_interface_name, "#VID_3C9E-------000B", false},
                 {hid_ids_from_interface_name, "\\\\?\\HID#3C9E&PID_000B", false},
                 {hid_ids_from_interface_name, "#VID_3C9E&PID_+00B", false},
                 {hid_ids_from_interface_name, "#VID_zzzz#VID_3C9E&PID_000B", false},
                 {hid_ids_from_hid_id, "0003:00003C9E:0000000B", true},
                 {hid_ids_from_hid_id, "0003:00013C9E:0000000B", false},
                 {hid_ids_from_hid_id, "0003:00003C9E:0000000", false},
                 {hid_ids_from_hid_id, "0003:00003C9E:0000000B0", false},
                 {hid_ids_from_device_path, "/0003:046D:C52B.0003/0003:3C9E:000B.0004/x", true},
                 {hid_ids_from_device_path, "/devices/0003:3C9E:000B/ab", false},
                 {hid_ids_from_device_path, "/devices/0003:3C9E:000B.x", false},
                 {hid_ids_from_device_path, "/devices/x0003:3C9E:000B.0004", false},
             }) {
            const std::vector<char> exact(text.constData(), text.constData() + text.size() + 1);
            hid_device_ids ids{1, 2};
            QVERIFY2((parse(exact.data(), &ids) != 0) == hasIds, text.constData());
            QCOMPARE(int{ids.vendor}, hasIds ? 0x3C9E : 1);
            QCOMPARE(int{ids.product}, hasIds ? 0x000B : 2);
        }
    }
};

QTEST_APPLESS_MAIN(tst_hid_parsing)
#include "tst_hid_parsing.moc"
