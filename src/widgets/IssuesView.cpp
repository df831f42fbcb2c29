// SPDX-License-Identifier: GPL-3.0-or-later
#include "IssuesView.h"

#include "AppModel.h"
#include "Localization.h"
#include "RowDelegate.h"
#include "ShellQuoting.h"
#include "Style.h"

#include <QDialogButtonBox>
#include <QListView>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace sorvanel {

class IssuesListModel : public SheetListModel
{
public:
    explicit IssuesListModel(AppModel &model, QObject *parent)
        : SheetListModel(parent)
        , m_model(model)
    {
    }

    int rowCount(const QModelIndex &parent) const override
    {
        return parent.isValid() ? 0 : int(m_model.shownIssues().size() + trashed().size());
    }

    // After a run's problems, the files it sent to the Trash as filed already.
    const std::vector<AlreadyFiledFile> &trashed() const
    {
        static const std::vector<AlreadyFiledFile> none;
        const auto &result = m_model.lastResult();
        return m_model.shownIssuesOfUndo() || !result ? none : result->alreadyFiled;
    }

    QVariant rowData(const QModelIndex &index, int role) const override
    {
        const auto &issues = m_model.shownIssues();
        if (index.row() >= issues.size() && std::size_t(index.row() - issues.size()) < trashed().size())
            return trashedData(trashed()[std::size_t(index.row() - issues.size())], role);
        if (index.row() < 0 || index.row() >= issues.size())
            return {};
        const OrganizationIssue &issue = issues[index.row()];
        // Issues reloaded without their details name neither file nor reason.
        switch (role) {
        case SheetDialog::PrimaryTextRole:
            return issue.filename.isEmpty() ? L10n::text("Unknown file") : issue.filename;
        case SheetDialog::SecondaryTextRole:
            return issue.message.isEmpty() ? L10n::text("Details were not retained between launches.") : issue.message;
        default:
            return {};
        }
    }

private:
    QVariant trashedData(const AlreadyFiledFile &file, int role) const
    {
        switch (role) {
        case SheetDialog::PrimaryTextRole:
            return shownName(filenameOf(file.source));
        case SheetDialog::SecondaryTextRole:
            return L10n::format(
                "In the Trash: %@",
                {alreadyFiledReason(displayPath(relativeTo(file.filedAs, normalizedPath(m_model.destinationURL()))))});
        case SheetDialog::SymbolRole:
            return m_trashIcon;
        default:
            return {};
        }
    }

    AppModel &m_model;
    QIcon m_trashIcon = Style::symbol(u"trash.fill"_qs);
};

IssuesView::IssuesView(AppModel &model, QWidget *parent)
    : SheetDialog(L10n::text("Run Problems"), parent)
    , m_model(model)
{
    resize(560, 420);
    setMinimumSize(360, 260);
    // A message is read whole, however narrow the sheet.
    RowDelegate::Layout rows{0, 0, 3, true, Qt::ElideRight};
    rows.wrapSecondary = true;
    addList(u"issues"_qs, rows, L10n::text("No Problems"), u"checkmark.circle"_qs);
    m_issues = new IssuesListModel(model, m_list);
    m_list->setModel(m_issues);

    auto *buttons = new QDialogButtonBox(this);
    auto *done = buttons->addButton(L10n::text("Done"), QDialogButtonBox::AcceptRole);
    done->setObjectName(u"done"_qs);
    done->setDefault(true);
    connect(done, &QPushButton::clicked, this, &QDialog::accept);
    contentLayout()->addWidget(buttons);

    connect(&model, &AppModel::shownIssuesChanged, this, &IssuesView::update);
    connect(&model, &AppModel::lastResultChanged, this, &IssuesView::update);
    update();
}

void IssuesView::update()
{
    // An undo's problems are its own, not those of the run the summary shows.
    const bool onlyTrashed = m_model.shownIssues().isEmpty() && m_issues->rowCount({}) > 0;
    setTitle(m_model.shownIssuesOfUndo() ? L10n::text("Undo Problems")
                 : onlyTrashed           ? L10n::text("Sent to the Trash")
                                         : L10n::text("Run Problems"));
    m_issues->reload();
    showPlaceholder(m_issues->rowCount({}) == 0);
}

} // namespace sorvanel
