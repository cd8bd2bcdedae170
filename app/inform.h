#pragma once

#include <QMessageBox>

class QWidget;

/// Shows an information box and waits until somebody closes it.
///
/// If nobody can see a box (setNobodyWatching()), its texts go to the debug output instead
/// and the call returns at once, because a headless run must not wait for ever. Main thread.
void inform(QWidget *parent, const QString &title, const QString &text,
            QMessageBox::StandardButtons buttons = QMessageBox::Yes,
            QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);

/// Pass true if this process has no screen.
void setNobodyWatching(bool nobody);
