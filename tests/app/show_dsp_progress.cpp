#include "app/DFU_windows.h"
#include "app/process.h"
#include "app/tb210_progress_view.h"

#include <QApplication>
#include <QTextEdit>
#include <QTimer>

// Shows the window during a DSP upgrade, for scripts/screenshots: the DSP section is
// hidden in the program, so its slot is called here.  Takes the firmware's path and
// the DSP firmware's; the vendor's tool has to lie beside this program.
int main(int argc, char *argv[])
{
    constexpr int pollMs = 20;
    constexpr int showWindow = 3;
    // Never destroyed: the window's threads do not stop.
    [[maybe_unused]] auto *const application = new QApplication(argc, argv);
    const QStringList arguments = QApplication::arguments();
    auto *const window = new DFU_windows(arguments.value(1), showWindow, nullptr);
    window->setWindowTitle(QStringLiteral("Velmo_KVX2 DFU"));
    window->show();

    auto *const timer = new QTimer(window);
    QObject::connect(timer, &QTimer::timeout, window, [=] {
        if (window->findChild<tb210_progress_view *>()->isVisible())
            return; // the transfer that the window starts by itself goes first
        timer->stop();
        for (QTextEdit *const edit : window->findChildren<QTextEdit *>()) {
            if (!edit->isVisible())
                edit->setPlainText(arguments.value(2));
        }
        window->updatedsp_click();
    });
    timer->start(pollMs);
    endProcess(QApplication::exec());
}
