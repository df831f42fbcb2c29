// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "SheetDialog.h"

class QLabel;
class QListView;
class QPushButton;

namespace sorvanel {

class AppModel;
class PlanMovesModel;

// The dry run: counts, one row per planned move, and "Move Files".
class PreviewView : public SheetDialog
{
    Q_OBJECT

public:
    PreviewView(AppModel &model, QWidget *parent);

    QPushButton *moveButton() const { return m_moveButton; }

private:
    void update();

    AppModel &m_model;
    QWidget *m_planArea;
    QLabel *m_moveCount;
    QLabel *m_skipCount;
    QLabel *m_problemCount;
    QWidget *m_driveWarningRow;
    QLabel *m_driveWarning;
    PlanMovesModel *m_moves;
    QPushButton *m_moveButton;
};

} // namespace sorvanel
