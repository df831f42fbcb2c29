// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "SheetDialog.h"

namespace sorvanel {

class AppModel;
class HistoryListModel;

// The latest 50 runs, newest first.
class HistoryView : public SheetDialog
{
    Q_OBJECT

public:
    HistoryView(AppModel &model, QWidget *parent);
private:
    void update();

    AppModel &m_model;
    HistoryListModel *m_entries;
};

} // namespace sorvanel
