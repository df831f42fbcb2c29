// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "SheetDialog.h"

#include <QUuid>

#include <optional>

class QPushButton;

namespace sorvanel {

class AppModel;
class HistoryListModel;

// The latest 50 runs, newest first; the selected one can be undone.
class HistoryView : public SheetDialog
{
    Q_OBJECT

public:
    HistoryView(AppModel &model, QWidget *parent);
    QPushButton *undoButton() const { return m_undo; }
    // The run chosen in the list (by mouse or arrow keys), if any.
    std::optional<QUuid> selectedRun() const;

private:
    void update();
    void updateUndo();
    void confirmUndo();

    AppModel &m_model;
    HistoryListModel *m_entries;
    QPushButton *m_undo;
};

} // namespace sorvanel
