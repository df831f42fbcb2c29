// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "RowDelegate.h"

#include <QDialog>

class QLabel;
class QListView;
class QStackedWidget;
class QVBoxLayout;

namespace sorvanel {

// A window-modal sheet over the main window: a bold title, content, buttons.
class SheetDialog : public QDialog
{
    Q_OBJECT

public:
    // The text roles the sheets' lists offer, for the delegates and for tests.
    enum Role {
        PrimaryTextRole = Qt::DisplayRole,
        SecondaryTextRole = Qt::UserRole + 1,
        DetailTextRole,
        SymbolRole,
        WarningRole
    };

    SheetDialog(const QString &title, QWidget *parent);

    QListView *list() const { return m_list; }
    bool showsPlaceholder() const;

protected:
    QVBoxLayout *contentLayout() const { return m_layout; }
    // A list of rows drawn by a RowDelegate, nothing selectable; uniform
    // unless their secondary text wraps.
    static QListView *makeList(const QString &name, const RowDelegate::Layout &rows, QWidget *parent);
    // The sheet's list, added to the content, with the placeholder shown
    // while it is empty ("No Problems" and the like).
    QListView *addList(const QString &name, const RowDelegate::Layout &rows, const QString &placeholderTitle,
                       const QString &symbolName);
    void showPlaceholder(bool empty);

    QListView *m_list = nullptr;

private:
    QVBoxLayout *m_layout;
    QStackedWidget *m_stack = nullptr;
};

} // namespace sorvanel
