// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "SheetDialog.h"
#include "Whereabouts.h"

#include <QTimer>
#include <QUuid>

#include <optional>

class QLineEdit;
class QPushButton;

namespace sorvanel {

class AppModel;
class HistoryListModel;
class FoundFilesModel;
class SheetListModel;

// The latest 50 runs, newest first; the selected one can be undone. Typing in
// its search field lists instead the filed files whose names match, across
// all runs, each with where it is now; the chosen one is shown in its folder.
class HistoryView : public SheetDialog
{
    Q_OBJECT

public:
    HistoryView(AppModel &model, QWidget *parent);
    QPushButton *undoButton() const { return m_undo; }
    QPushButton *showButton() const { return m_show; }
    QLineEdit *searchField() const { return m_search; }
    // The run chosen in the list (by mouse or arrow keys), if any.
    std::optional<QUuid> selectedRun() const;
    // While a search is typed: the file chosen among those found.
    std::optional<FiledFile> selectedFile() const;

private:
    void update();
    void updateUndo();
    void confirmUndo();
    void makeSearch();
    bool searching() const;
    void useList(SheetListModel *rows);
    void showSelectedFile();

    AppModel &m_model;
    HistoryListModel *m_entries;
    FoundFilesModel *m_found;
    QPushButton *m_undo;
    QPushButton *m_show;
    QLineEdit *m_search;
    QTimer m_searchDelay;
};

} // namespace sorvanel
