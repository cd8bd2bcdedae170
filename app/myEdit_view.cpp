#include "app/myEdit_view.h"

#include <QDropEvent>
#include <QMimeData>
#include <QUrl>

void myEdit_view::dropEvent(QDropEvent *event)
{
    QTextEdit::dropEvent(event);
    const QList<QUrl> urls = event->mimeData()->urls();
    if (!urls.isEmpty())
        emit drop_block(urls.first().toLocalFile());
}
