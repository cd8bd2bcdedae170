#include "app/myEdit_view.h"

#include <QDropEvent>
#include <QMimeData>
#include <QUrl>

void myEdit_view::dropEvent(QDropEvent *event)
{
    const QList<QUrl> urls = event->mimeData()->urls();
    QTextEdit::dropEvent(event);
    if (!urls.isEmpty())
        emit drop_block(urls.first().toLocalFile());
}
