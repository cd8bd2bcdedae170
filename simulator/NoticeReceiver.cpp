#include "simulator/NoticeReceiver.h"

#include "simulator/Simulator.h"

#include <QCoreApplication>
#include <QEvent>

namespace sim {

NoticeReceiver::NoticeReceiver()
{
    static const bool once = [] {
        qAddPostRoutine([] { Simulator::instance().stopNotices(); });
        return true;
    }();
    Q_UNUSED(once)
}

void NoticeReceiver::wake()
{
    QCoreApplication::postEvent(this, new QEvent(QEvent::User));
}

bool NoticeReceiver::event(QEvent *event)
{
    if (event->type() != QEvent::User)
        return QObject::event(event);
    Simulator::instance().deliverNotices();
    return true;
}

} // namespace sim
