// SPDX-License-Identifier: GPL-3.0-or-later
#include "PreviewView.h"

#include "ShellQuoting.h"

#include "AppModel.h"
#include "Localization.h"
#include "RowDelegate.h"
#include "Style.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QVBoxLayout>

namespace sorvanel {

// The plan's moves, then the files it leaves where they are with the reason
// for each, then the problems a run would meet, as a list model read straight
// from the app model: a hundred thousand moves cost no widgets and no copies.
class PlanMovesModel : public SheetListModel
{
public:
    explicit PlanMovesModel(AppModel &model, QObject *parent)
        : SheetListModel(parent)
        , m_model(model)
        , m_skippedIcon(Style::symbol(u"forward.circle"_qs))
        , m_problemIcon(Style::symbol(u"exclamationmark.triangle.fill"_qs))
        , m_trashIcon(Style::symbol(u"trash.fill"_qs))
    {
        for (const char *name : {"externaldrive.fill", "photo.fill", "doc.fill", "shippingbox.fill"})
            m_icons.append(Style::symbol(QLatin1String(name)));
    }

    int rowCount(const QModelIndex &parent) const override
    {
        const auto &plan = m_model.previewPlan();
        return parent.isValid() || !plan ? 0 : int(plan->moves.size() + plan->skippedFiles.size() + m_problems.size());
    }

    // The plan's problems, worked out once per plan.
    void setProblems(QList<OrganizationIssue> problems) { m_problems = std::move(problems); }

    QVariant rowData(const QModelIndex &index, int role) const override
    {
        const auto &plan = m_model.previewPlan();
        if (!plan || index.row() < 0)
            return {};
        const auto row = std::size_t(index.row());
        if (row >= plan->moves.size() + plan->skippedFiles.size())
            return problemData(qsizetype(row - plan->moves.size() - plan->skippedFiles.size()), role);
        if (row >= plan->moves.size())
            return skippedData(plan->skippedFiles[row - plan->moves.size()], role);
        const PlannedMove &move = plan->moves[row];
        switch (role) {
        case SheetDialog::PrimaryTextRole:
            return shownName(filenameOf(move.sourceURL));
        case SheetDialog::SecondaryTextRole:
            if (move.goesToTrash())
                return L10n::format("To the Trash: %@",
                                    {alreadyFiledReason(belowRoot(plan->filedAsOf(row), plan->destinationRoot))});
            return belowRoot(move.destinationURL, plan->destinationRoot);
        case SheetDialog::SymbolRole:
            return move.goesToTrash() ? m_trashIcon : m_icons.value(int(move.category));
        default:
            return {};
        }
    }

private:
    // Where a file goes, below the destination root ("2026-11-26/docs/report.pdf"):
    // the day and the category are never elided away by a long root.
    static QString belowRoot(const Path &destination, const Path &root)
    {
        const std::string &path = destination.native();
        const std::string &prefix = root.native();
        if (path.size() > prefix.size() + 1 && path.starts_with(prefix) && path[prefix.size()] == '/') {
            const std::string_view below = std::string_view(path).substr(prefix.size() + 1);
            const auto slash = below.rfind('/');
            const std::string_view folders =
                slash == std::string_view::npos ? std::string_view() : below.substr(0, slash + 1);
            return QString::fromUtf8(folders.data(), qsizetype(folders.size())) + shownName(filenameOf(destination));
        }
        return displayPath(destination);
    }

    // A file that stays, and why: what keeps a download in progress safe.
    QVariant skippedData(const SkippedFile &file, int role) const
    {
        switch (role) {
        case SheetDialog::PrimaryTextRole:
            return shownName(filenameOf(file.url));
        case SheetDialog::SecondaryTextRole:
            return L10n::format("Stays: %@", {localizedReason(file)});
        case SheetDialog::SymbolRole:
            return m_skippedIcon;
        default:
            return {};
        }
    }

    QVariant problemData(qsizetype index, int role) const
    {
        if (index >= m_problems.size())
            return {};
        switch (role) {
        case SheetDialog::PrimaryTextRole:
            return m_problems[index].filename;
        case SheetDialog::SecondaryTextRole:
            return m_problems[index].message;
        case SheetDialog::SymbolRole:
            return m_problemIcon;
        default:
            return {};
        }
    }

    AppModel &m_model;
    QList<QIcon> m_icons; // by FileCategory: big, graphic, docs, other
    QIcon m_skippedIcon;
    QIcon m_problemIcon;
    QIcon m_trashIcon;
    QList<OrganizationIssue> m_problems;
};

namespace {
QLabel *countLabel(QWidget *parent)
{
    auto *label = new QLabel(parent);
    Style::makeSecondary(label);
    return label;
}
} // namespace

PreviewView::PreviewView(AppModel &model, QWidget *parent)
    : SheetDialog(L10n::text("Preview Changes"), parent)
    , m_model(model)
{
    resize(680, 520);
    m_planArea = new QWidget(this);
    auto *planLayout = new QVBoxLayout(m_planArea);
    planLayout->setContentsMargins(0, 0, 0, 0);
    auto *counts = new QHBoxLayout;
    counts->setSpacing(18);
    m_moveCount = countLabel(m_planArea);
    m_skipCount = countLabel(m_planArea);
    m_problemCount = countLabel(m_planArea);
    counts->addWidget(Style::iconLabel(u"arrow.right.circle"_qs, m_moveCount, m_planArea));
    counts->addWidget(Style::iconLabel(u"forward.circle"_qs, m_skipCount, m_planArea));
    counts->addWidget(Style::iconLabel(u"exclamationmark.triangle"_qs, m_problemCount, m_planArea));
    counts->addStretch();
    planLayout->addLayout(counts);
    // The destination's drive is not plugged in: nothing would be filed.
    m_driveWarning = new QLabel(m_planArea);
    m_driveWarning->setObjectName(u"missingDrive"_qs);
    m_driveWarning->setWordWrap(true);
    m_driveWarningRow = Style::iconLabel(u"exclamationmark.triangle.fill"_qs, m_driveWarning, m_planArea);
    planLayout->addWidget(m_driveWarningRow);

    m_list = makeList(u"moves"_qs, {22, 12, 2, false, Qt::ElideMiddle}, m_planArea);
    m_list->setMinimumHeight(260);
    m_moves = new PlanMovesModel(model, m_list);
    m_list->setModel(m_moves);
    planLayout->addWidget(m_list, 1);
    contentLayout()->addWidget(m_planArea, 1);

    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    auto *cancel = new QPushButton(L10n::text("Cancel"), this);
    cancel->setObjectName(u"cancel"_qs);
    buttons->addWidget(cancel);
    m_moveButton = new QPushButton(L10n::text("Move Files"), this);
    m_moveButton->setObjectName(u"moveFiles"_qs);
    // Prominent, but never the default: Return alone must not start moving files.
    cancel->setAutoDefault(false);
    m_moveButton->setAutoDefault(false);
    Style::makeProminent(m_moveButton);
    buttons->addWidget(m_moveButton);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    // The model closes the sheet when it starts moving.
    connect(m_moveButton, &QPushButton::clicked, this, [this] { m_model.executePreview(); });
    contentLayout()->addLayout(buttons);

    connect(&model, &AppModel::previewPlanChanged, this, &PreviewView::update);
    update();
}

void PreviewView::update()
{
    const auto &plan = m_model.previewPlan();
    const QList<OrganizationIssue> problems = plan ? plan->previewIssues() : QList<OrganizationIssue>();
    m_moves->setProblems(problems);
    m_moves->reload();
    m_planArea->setVisible(plan.has_value());
    if (plan) {
        const std::int64_t filing = plan->filingCount();
        const auto trashing = std::int64_t(plan->moves.size()) - filing;
        m_moveCount->setText(
            L10n::format("Move: %d", {qint64(filing)})
            + (trashing > 0 ? u"   "_qs + L10n::format("Already filed: %d", {qint64(trashing)}) : QString()));
        m_skipCount->setText(L10n::format("Skip: %d", {qint64(plan->skipped)}));
        m_problemCount->setText(L10n::format("Problems: %d", {qint64(problems.size())}));
        if (plan->missingDrive)
            m_driveWarning->setText(missingDriveIssue(*plan->missingDrive).message);
    }
    m_driveWarningRow->setVisible(plan && plan->missingDrive);
    m_moveButton->setEnabled(plan && !plan->moves.empty());
}

} // namespace sorvanel
