#pragma once

#include <QTextEdit>

/// A text edit that tells of a file dropped on it.  The text itself is inserted as
/// any text edit does.
class myEdit_view : public QTextEdit
{
    Q_OBJECT

public:
    explicit myEdit_view(QWidget *parent)
        : QTextEdit(parent)
    {
    }

signals:
    /// Local path of the first URL of a drop; further ones are ignored.
    void drop_block(const QString &path);

protected:
    void dropEvent(QDropEvent *event) override;
};
