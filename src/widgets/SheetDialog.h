// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

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
    enum Role { PrimaryTextRole = Qt::DisplayRole, SecondaryTextRole = Qt::UserRole + 1, DetailTextRole, SymbolRole, WarningRole };

    SheetDialog(const QString &title, QWidget *parent);

protected:
    QVBoxLayout *contentLayout() const { return m_layout; }
    // A list with its empty-content placeholder ("No Problems" and the like).
    QStackedWidget *listWithPlaceholder(QListView *list, const QString &placeholderTitle, const QString &symbolName);
    void showPlaceholder(QStackedWidget *stack, bool empty);

private:
    QVBoxLayout *m_layout;
};

} // namespace sorvanel
