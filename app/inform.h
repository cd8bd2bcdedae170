#pragma once

#include <QMessageBox>

class QWidget;

/// Shows an information box and waits until somebody closes it.
///
/// Where nobody can see a box (setNobodyWatching()), its texts go to the debug
/// output instead and the call returns at once, as if it had been closed: a
/// headless run must not wait for ever.  Main thread.
void inform(QWidget *parent, const QString &title, const QString &text,
            QMessageBox::StandardButtons buttons = QMessageBox::Yes,
            QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);

/// Says that this process has no screen.
void setNobodyWatching(bool nobody);
