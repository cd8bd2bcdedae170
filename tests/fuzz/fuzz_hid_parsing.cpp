#include "device/hidapi/hid_device_ids.h"
#include "device/hidapi/hid_report_descriptor.h"
#include "tests/fuzz/fuzzTarget.h"

#include <vector>

/// The input is a report descriptor, and a name that may hold ids.
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray input = bytesOf(data, size);
    const int length = hid_report_descriptor_max_input_length(data, size);
    require(length >= -1 && length != 1 && length <= 65535, "a length");

    const std::vector<char> name(input.constData(), input.constData() + input.size() + 1);
    for (auto *const parser :
         {hid_ids_from_interface_name, hid_ids_from_hid_id, hid_ids_from_device_path}) {
        hid_device_ids ids{1, 2};
        const bool found = parser(name.data(), &ids) != 0;
        require(found || (ids.vendor == 1 && ids.product == 2), "left alone");
        for (const unsigned id : {ids.vendor, ids.product}) {
            const QByteArray digits = QByteArray::number(id, 16).rightJustified(4, '0');
            require(!found || input.toLower().contains(digits), "the name has the ids");
        }
    }
    return 0;
}
