#include "device/hidapi/hidapi_additions.h"

#include <QTest>

#include <array>
#include <cstring>
#include <tuple>
#include <vector>

#include <windows.h>

#include <dbt.h>

namespace {

/// Notes a notice as "3C9E:000B arrived PATH".
void note(unsigned short vendor, unsigned short product, const char *path, int removal,
          void *context)
{
    *static_cast<QStringList *>(context) += QString::asprintf(
        "%04X:%04X %s %s", vendor, product, removal != 0 ? "removed" : "arrived", path);
}

/// The library's window, or null. The class name is 8-bit text read as wide characters.
HWND libraryWindow()
{
    std::array<wchar_t, 20> name{};
    const QByteArray text = "{2FCD1C73-42E0-4EF3-8A0C-96FE38475572}";
    std::memcpy(name.data(), text.constData(), static_cast<std::size_t>(text.size()));
    return FindWindowW(name.data(), nullptr);
}

/// Sends the window the message that the system would send.
void announce(WPARAM event, DWORD type, const QString &path)
{
    const auto nameSize = 2 * static_cast<std::size_t>(path.size() + 1);
    std::vector<unsigned char> room(sizeof(DEV_BROADCAST_DEVICEINTERFACE_W) + nameSize);
    auto *const record = reinterpret_cast<DEV_BROADCAST_DEVICEINTERFACE_W *>(room.data());
    record->dbcc_size = static_cast<DWORD>(room.size());
    record->dbcc_devicetype = type;
    std::memcpy(record->dbcc_name, path.utf16(), nameSize);
    SendMessageW(libraryWindow(), WM_DEVICECHANGE, event, reinterpret_cast<LPARAM>(record));
}

} // namespace

/// Arrivals and removals on Windows, and the window that receives them. A process has one such
/// window, so the order of the cases matters.
class HidWindowTest : public QObject
{
    Q_OBJECT

private:
    QStringList replaced;
    QStringList notices;

private slots:
    void registering_makes_a_hidden_window()
    {
        QVERIFY(libraryWindow() == nullptr);
        for (QStringList *list : {&replaced, &notices})
            hid_register_device_notification(note, list);
        QVERIFY(libraryWindow() != nullptr && !IsWindowVisible(libraryWindow()));
    }

    void only_interfaces_with_ids_are_announced()
    {
        const DWORD hid = DBT_DEVTYP_DEVICEINTERFACE;
        const QString path = "\\\\?\\hid#vid_3c9e&pid_00aB#6&1#{4d1e}"; // keeps its letter case
        // Event, type, path; what is told before the path, or null if nothing is told.
        for (const auto &[event, type, name, told] :
             std::initializer_list<std::tuple<WPARAM, DWORD, QString, const char *>>{
                 {0x8000, hid, path, "3C9E:00AB arrived "},
                 {0x8004, hid, path, "3C9E:00AB removed "},
                 {0x8003, hid, path, nullptr}, // about to go
                 {0x8000, DBT_DEVTYP_OEM, path, nullptr},
                 {0x8000, hid, "\\\\?\\HID#ACPI0011#7", nullptr},
                 {0x8000, hid, path + QString(256, 'x'), nullptr},
             }) {
            notices.clear();
            announce(event, type, name);
            QCOMPARE(notices, told != nullptr ? QStringList{told + name} : QStringList());
        }
        QVERIFY(replaced.isEmpty());
        QCOMPARE(SendMessageW(libraryWindow(), WM_DEVICECHANGE, DBT_DEVICEARRIVAL, 0), LRESULT{0});
    }

    void after_unregistering_it_stays_off()
    {
        for (const auto callback : {hid_device_notification_callback{nullptr}, &note}) {
            hid_register_device_notification(callback, &notices);
            QVERIFY(libraryWindow() == nullptr);
        }
    }
};

QTEST_GUILESS_MAIN(HidWindowTest)
#include "tst_hid_window.moc"
