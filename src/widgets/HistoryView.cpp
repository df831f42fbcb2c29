// SPDX-License-Identifier: GPL-3.0-or-later
#include "HistoryView.h"

#include "AppModel.h"
#include "Localization.h"
#include "RowDelegate.h"
#include "Style.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
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
    m_list->setModel(m_entries);
    // A run is chosen to be undone: the list shows which.
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);

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
    auto *done = new QPushButton(L10n::text("Done"), this);
    done->setObjectName(u"done"_qs);
    done->setDefault(true);
    connect(done, &QPushButton::clicked, this, &QDialog::accept);
    footer->addWidget(done);
    contentLayout()->addLayout(footer);

    connect(&model, &AppModel::historyChanged, this, &HistoryView::update);
    connect(&model, &AppModel::isRunningChanged, this, &HistoryView::updateUndo);
    connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this, &HistoryView::updateUndo);
    update();
}

std::optional<QUuid> HistoryView::selectedRun() const
{
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
