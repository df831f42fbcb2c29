// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "SheetDialog.h"

namespace sorvanel {

class AppModel;
class IssuesListModel;

// The files the latest run could not move.
class IssuesView : public SheetDialog
{
    Q_OBJECT

public:
    IssuesView(AppModel &model, QWidget *parent);

private:
    void update();

    AppModel &m_model;
    IssuesListModel *m_issues;
};

} // namespace sorvanel
