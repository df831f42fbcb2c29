// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "SheetDialog.h"

class QListView;
class QStackedWidget;

namespace sorvanel {

class AppModel;
class IssuesListModel;

// The files the latest run could not move.
class IssuesView : public SheetDialog
{
    Q_OBJECT

public:
    IssuesView(AppModel &model, QWidget *parent);
    QListView *list() const { return m_list; }
    bool showsPlaceholder() const;

private:
    void update();

    AppModel &m_model;
    QListView *m_list;
    IssuesListModel *m_issues;
    QStackedWidget *m_stack;
};

} // namespace sorvanel
