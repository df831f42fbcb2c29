// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "RowDelegate.h"

#include <QAbstractListModel>
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
        WarningRole // a run's count of files that failed
    };

    SheetDialog(const QString &title, QWidget *parent);
    // The window's title and the bold one above the content.
    void setTitle(const QString &title);

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

// A sheet's list as a model. Subclasses answer the text roles of a row
// (rowData); the whole row, however the delegate shortens it, is put
// together here: for the tooltip, and for screen readers, which read the
// primary text as the row's name and the rest as its description.
class SheetListModel : public QAbstractListModel
{
public:
    using QAbstractListModel::QAbstractListModel;

    // The rows were replaced: the list reads them afresh.
    void reload();
    QVariant data(const QModelIndex &index, int role) const final;

protected:
    virtual QVariant rowData(const QModelIndex &index, int role) const = 0;
};

} // namespace sorvanel
