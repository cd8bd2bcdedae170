#include "app/DFU_windows.h"
#include "app/SingleInstance.h"
#include "app/endProcess.h"
#include "app/prepareProcess.h"

#include <QApplication>
#include <QDebug>

namespace {

/// More arguments than this, program name included, show the window.
constexpr int hiddenArguments = 2;

} // namespace

int main(int argc, char *argv[])
{
    prepareProcess();
    SingleInstance instance;
    if (!instance.acquire())
        return 0;
    setInstanceToRelease(&instance);

    // Never destroyed: from the window's construction on, threads run that do not
    // stop, and the process ends through endProcess() only.
    [[maybe_unused]] auto *const application = new QApplication(argc, argv);
    const QStringList arguments = QApplication::arguments();
    qDebug() << arguments;
    auto *const window = new DFU_windows(arguments.value(1), arguments.size(), nullptr);
    window->setWindowTitle(QStringLiteral("Velmo_KVX2 DFU"));
    if (arguments.size() > hiddenArguments)
        window->show();
    endProcess(QApplication::exec());
}
