#include "app/inform.h"

#include <QDebug>

namespace {

bool nobodyWatching = false;

} // namespace

void setNobodyWatching(bool nobody)
{
    nobodyWatching = nobody;
}

void inform(QWidget *parent, const QString &title, const QString &text,
            QMessageBox::StandardButtons buttons, QMessageBox::StandardButton defaultButton)
{
    if (nobodyWatching)
        qWarning().noquote() << title + QLatin1Char(':') << text;
    else
        QMessageBox::information(parent, title, text, buttons, defaultButton);
}
