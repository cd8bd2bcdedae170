#include "device/hidapi/hid_device_ids.h"
#include "device/hidapi/hid_report_descriptor.h"
#include "tests/fuzz/fuzzTarget.h"

#include <QRegularExpression>

#include <vector>

namespace {

using Parser = int(const char *, hid_device_ids *);

/// The last match has the ids. "x" is a digit. Letter case does not matter, and "." is any byte.
QRegularExpression form(const char *expression)
{
    return QRegularExpression(QString(expression).replace('x', "[[:xdigit:]]").prepend("(?si)"));
}

} // namespace

/// The input is a report descriptor, and a name that may hold ids.
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const int length = hid_report_descriptor_max_input_length(data, size);
    require(length >= -1 && length != 1 && length <= 65535, "a length");

    static const std::initializer_list<std::pair<Parser *, QRegularExpression>> parsers = {
        // Only the first marker counts.
        {hid_ids_from_interface_name, form("\\A(?>.*?#VID_)(xxxx).{5}(xxxx)")},
        {hid_ids_from_hid_id, form("\\Axxxx:0000(xxxx):0000(xxxx)\\z")},
        {hid_ids_from_device_path, form("(?:\\A|/)xxxx:(xxxx):(xxxx)\\.x")},
    };
    std::vector<char> name(data, data + size);
    name.push_back('\0');
    for (const auto &[parse, rule] : parsers) {
        QString expected = "0 0001:0002"; // left alone
        for (auto match = rule.globalMatch(QString::fromLatin1(name.data())); match.hasNext();) {
            const QStringList captured = match.next().capturedTexts();
            expected = "1 " + captured.at(1) + ':' + captured.at(2);
        }
        hid_device_ids ids{1, 2};
        const int found = parse(name.data(), &ids);
        require(QString::asprintf("%d %04x:%04x", found, ids.vendor, ids.product) ==
                    expected.toLower(),
                "the ids");
    }
    return 0;
}
