// SPDX-License-Identifier: GPL-3.0-or-later
#include "HistoryView.h"

#include "AppModel.h"
#include "Localization.h"
#include "RowDelegate.h"
#include "ShellQuoting.h"
#include "Style.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace sorvanel {

class HistoryListModel : public SheetListModel
{
public:
    explicit HistoryListModel(AppModel &model, QObject *parent)
        : SheetListModel(parent)
        , m_model(model)
    {
        m_automatic = Style::symbol(u"gearshape.2.fill"_qs);
        m_manual = Style::symbol(u"hand.tap.fill"_qs, Style::secondaryTextColor());
    }

    int rowCount(const QModelIndex &parent) const override
    {
        return parent.isValid() ? 0 : int(m_model.history().size());
    }

    QVariant rowData(const QModelIndex &index, int role) const override
    {
        const auto &history = m_model.history();
        if (index.row() < 0 || index.row() >= history.size())
            return {};
        const RunHistoryEntry &entry = history[index.row()];
        switch (role) {
        case SheetDialog::PrimaryTextRole:
            return Style::abbreviatedDateTime(entry.date, true);
        case SheetDialog::SecondaryTextRole: {
            // Whether it was taken back goes below the date, where there is
            // room for it: the counts on the right leave the date little.
            QString line = L10n::format("%@ · %.2f s", {localizedMode(entry), entry.duration});
            if (const QString undone = m_model.undoneLabel(entry.id); !undone.isEmpty())
                line += u" · "_qs + undone;
            return line;
        }
        case SheetDialog::DetailTextRole:
            return L10n::format("%d moved", {qint64(entry.moved)}) + QStringLiteral("   ")
                + L10n::format("%d skipped", {qint64(entry.skipped)})
                + (entry.alreadyFiled > 0
                       ? QStringLiteral("   ") + L10n::format("%d already filed", {qint64(entry.alreadyFiled)})
                       : QString());
        case SheetDialog::WarningRole:
            return qint64(entry.failed);
        case SheetDialog::SymbolRole:
            return entry.mode == OrganizationRunMode::automatic ? m_automatic : m_manual;
        default:
            return {};
        }
    }

private:
    AppModel &m_model;
    QIcon m_automatic;
    QIcon m_manual;
};

// The filed files whose names match what the user typed: where each is now,
// whether it is still there, and the run that filed it.
class FoundFilesModel : public SheetListModel
{
public:
    explicit FoundFilesModel(AppModel &model, QObject *parent)
        : SheetListModel(parent)
        , m_model(model)
        , m_there(Style::symbol(u"doc.fill"_qs))
        , m_missing(Style::symbol(u"exclamationmark.triangle"_qs, Style::secondaryTextColor()))
    {
    }

    int rowCount(const QModelIndex &parent) const override
    {
        return parent.isValid() ? 0 : int(m_model.foundFiles().size());
    }

    QVariant rowData(const QModelIndex &index, int role) const override
    {
        const auto &found = m_model.foundFiles();
        if (index.row() < 0 || std::size_t(index.row()) >= found.size())
            return {};
        const FiledFile &file = found[std::size_t(index.row())];
        switch (role) {
        case SheetDialog::PrimaryTextRole:
            return shownName(filenameOf(file.source));
        case SheetDialog::SecondaryTextRole:
            return displayPath(file.whereNow()) + u" \u00b7 "_qs + localizedName(file.state) + u"\n"_qs
                + L10n::format("Filed %@ (%@)",
                               {Style::abbreviatedDateTime(file.runDate, true), localizedName(file.mode)});
        case SheetDialog::SymbolRole:
            return file.state == FiledState::there || file.state == FiledState::changed ? m_there : m_missing;
        default:
            return {};
        }
    }

private:
    AppModel &m_model;
    QIcon m_there;
    QIcon m_missing;
};

HistoryView::HistoryView(AppModel &model, QWidget *parent)
    : SheetDialog(L10n::text("Run History"), parent)
    , m_model(model)
{
    resize(600, 460);
    // Whether a run was undone is read whole, however narrow the sheet.
    RowDelegate::Layout rows{24, 14, 3, true, Qt::ElideRight, Qt::ElideRight};
    rows.wrapSecondary = true;
    addList(u"history"_qs, rows, L10n::text("No Runs Yet"), u"clock.arrow.circlepath"_qs);
    m_entries = new HistoryListModel(model, m_list);
    m_found = new FoundFilesModel(model, m_list);
    m_list->setModel(m_entries);
    // A run is chosen to be undone, a file to be shown: the list shows which.
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    makeSearch();

    auto *footer = new QHBoxLayout;
    auto *note = new QLabel(L10n::text("The latest 50 runs are retained."), this);
    note->setObjectName(u"footnote"_qs);
    note->setFont(Style::captionFont());
    Style::makeSecondary(note);
    footer->addWidget(note);
    footer->addStretch();
    m_undo = new QPushButton(L10n::text("Undo Run…"), this);
    m_undo->setObjectName(u"undoRun"_qs);
    m_undo->setToolTip(L10n::text("Puts the files of the selected run back where they came from."));
    connect(m_undo, &QPushButton::clicked, this, &HistoryView::confirmUndo);
    footer->addWidget(m_undo);
    m_show = new QPushButton(L10n::text("Show in Folder"), this);
    m_show->setObjectName(u"showInFolder"_qs);
    m_show->setToolTip(L10n::text("Opens the file's folder in the file manager, with the file selected."));
    m_show->hide();
    connect(m_show, &QPushButton::clicked, this, &HistoryView::showSelectedFile);
    footer->addWidget(m_show);
    auto *done = new QPushButton(L10n::text("Done"), this);
    done->setObjectName(u"done"_qs);
    done->setDefault(true);
    connect(done, &QPushButton::clicked, this, &QDialog::accept);
    footer->addWidget(done);
    contentLayout()->addLayout(footer);

    connect(&model, &AppModel::historyChanged, this, &HistoryView::update);
    connect(&model, &AppModel::isRunningChanged, this, &HistoryView::updateUndo);
    connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this, &HistoryView::updateUndo);
    connect(&model, &AppModel::foundFilesChanged, this, &HistoryView::update);
    connect(m_list, &QListView::activated, this, [this] {
        if (searching())
            showSelectedFile();
    });
    useList(m_entries);
    update();
}

// A field above the list: what the user types there finds filed files
// across all runs, asked a moment after the last key.
void HistoryView::makeSearch()
{
    m_search = new QLineEdit(this);
    m_search->setObjectName(u"search"_qs);
    m_search->setPlaceholderText(L10n::text("Find a filed file by name"));
    m_search->setAccessibleName(L10n::text("Find a filed file by name"));
    m_search->setClearButtonEnabled(true);
    contentLayout()->insertWidget(1, m_search);
    m_searchDelay.setSingleShot(true);
    m_searchDelay.setInterval(150);
    connect(&m_searchDelay, &QTimer::timeout, this, [this] { m_model.findFiledFiles(m_search->text()); });
    connect(m_search, &QLineEdit::textChanged, this, [this] {
        useList(searching() ? static_cast<SheetListModel *>(m_found) : m_entries);
        m_searchDelay.start();
        update();
    });
}

bool HistoryView::searching() const
{
    return !m_search->text().trimmed().isEmpty();
}

void HistoryView::useList(SheetListModel *rows)
{
    if (m_list->model() != rows) {
        m_list->setModel(rows);
        connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this, &HistoryView::updateUndo);
    }
    m_undo->setVisible(rows == m_entries);
    m_show->setVisible(rows == m_found);
    findChild<QLabel *>(u"placeholderTitle"_qs)
        ->setText(rows == m_found ? L10n::text("No filed file has such a name.") : L10n::text("No Runs Yet"));
}

std::optional<FiledFile> HistoryView::selectedFile() const
{
    const QModelIndex current = m_list->currentIndex();
    const auto &found = m_model.foundFiles();
    if (!searching() || !current.isValid() || !m_list->selectionModel()->isSelected(current)
        || std::size_t(current.row()) >= found.size())
        return std::nullopt;
    return found[std::size_t(current.row())];
}

void HistoryView::showSelectedFile()
{
    if (const auto file = selectedFile())
        m_model.showInFolder(file->whereNow());
}

std::optional<QUuid> HistoryView::selectedRun() const
{
    if (searching())
        return std::nullopt;
    // The run the user sees highlighted: a list given the focus makes its
    // first row current without selecting it, and that row is no choice.
    const QModelIndex current = m_list->currentIndex();
    const auto &history = m_model.history();
    if (!current.isValid() || !m_list->selectionModel()->isSelected(current) || current.row() >= history.size())
        return std::nullopt;
    return history[current.row()].id;
}

void HistoryView::update()
{
    if (searching()) {
        // An answer to an earlier question is not shown as this one's.
        if (m_model.foundFilesQuery() == m_search->text())
            m_found->reload();
        showPlaceholder(m_found->rowCount({}) == 0 && m_model.foundFilesQuery() == m_search->text());
        updateUndo();
        return;
    }
    const auto selected = selectedRun();
    m_entries->reload();
    showPlaceholder(m_entries->rowCount({}) == 0);
    // The same run stays selected when the list is reloaded.
    const auto &history = m_model.history();
    for (int row = 0; selected && row < history.size(); ++row) {
        if (history[row].id == *selected)
            m_list->setCurrentIndex(m_entries->index(row));
    }
    updateUndo();
}

void HistoryView::updateUndo()
{
    const auto run = selectedRun();
    m_undo->setEnabled(run && !m_model.isRunning() && m_model.canUndo(*run));
    m_show->setEnabled(selectedFile().has_value());
}

void HistoryView::confirmUndo()
{
    const auto id = selectedRun();
    const auto run = id ? m_model.journalRun(*id) : std::nullopt;
    if (!run || run->moved == 0)
        return;
    QMessageBox confirm(QMessageBox::Question, L10n::text("Undo This Run?"),
                        run->moved == 1
                            ? L10n::format("1 file goes back to %@.", {displayPath(run->source)})
                            : L10n::format("%d files go back to %@.", {qint64(run->moved), displayPath(run->source)}),
                        QMessageBox::NoButton, this);
    confirm.setObjectName(u"confirmUndo"_qs);
    confirm.setInformativeText(L10n::text("A file changed, moved or deleted since the run, or whose name is taken "
                                          "again, stays where it is."));
    auto *undo = confirm.addButton(L10n::text("Undo"), QMessageBox::AcceptRole);
    undo->setObjectName(u"undo"_qs);
    confirm.addButton(L10n::text("Cancel"), QMessageBox::RejectRole);
    confirm.setDefaultButton(undo);
    confirm.exec();
    if (confirm.clickedButton() == undo)
        m_model.undoRun(*id);
}

} // namespace sorvanel
