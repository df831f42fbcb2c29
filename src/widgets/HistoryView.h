// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "SheetDialog.h"

class QListView;
class QStackedWidget;

namespace sorvanel {

class AppModel;
class HistoryListModel;

// The latest 50 runs, newest first.
class HistoryView : public SheetDialog
{
    Q_OBJECT

public:
    HistoryView(AppModel &model, QWidget *parent);
    QListView *list() const { return m_list; }
    bool showsPlaceholder() const;

private:
    void update();

    AppModel &m_model;
    QListView *m_list;
    HistoryListModel *m_entries;
    QStackedWidget *m_stack;
};

} // namespace sorvanel
