#include "app/DFU_windows.h"
#include "app/SingleInstance.h"
#include "app/inform.h"
#include "app/process.h"

#include <QApplication>
#include <QDebug>

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
    const bool visible = arguments.size() > DFU_windows::headlessArguments;
    // The only window of a hidden updater is a box. Closing it must not end the process.
    QApplication::setQuitOnLastWindowClosed(visible);
    setNobodyWatching(QApplication::platformName() == QLatin1String("offscreen"));
    auto *const window = new DFU_windows(arguments.value(1), arguments.size(), nullptr);
    window->setWindowTitle(QStringLiteral("Velmo_KVX2 DFU"));
    if (visible)
        window->show();
    endProcess(QApplication::exec());
}
