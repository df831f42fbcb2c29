// SPDX-License-Identifier: GPL-3.0-or-later
#include "HistoryView.h"

#include "AppModel.h"
#include "Localization.h"
#include "RowDelegate.h"
#include "Style.h"

#include <QAbstractListModel>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace sorvanel {

class HistoryListModel : public QAbstractListModel
{
public:
    explicit HistoryListModel(AppModel &model, QObject *parent)
        : QAbstractListModel(parent)
        , m_model(model)
    {
        m_automatic = Style::symbol(u"gearshape.2.fill"_qs);
        m_manual = Style::symbol(u"hand.tap.fill"_qs, Style::secondaryTextColor());
    }

    void reload()
    {
        beginResetModel();
        endResetModel();
    }

    int rowCount(const QModelIndex &parent) const override
    {
        return parent.isValid() ? 0 : int(m_model.history().size());
    }

    QVariant data(const QModelIndex &index, int role) const override
    {
        const auto &history = m_model.history();
        if (index.row() < 0 || index.row() >= history.size())
            return {};
        const RunHistoryEntry &entry = history[index.row()];
        switch (role) {
        case SheetDialog::PrimaryTextRole:
            return Style::abbreviatedDateTime(entry.date, true);
        case SheetDialog::SecondaryTextRole:
            return L10n::format("%@ · %.2f s", {localizedName(entry.mode), entry.duration});
        case SheetDialog::DetailTextRole:
            return L10n::format("%d moved", {qint64(entry.moved)}) + QStringLiteral("   ")
                + L10n::format("%d skipped", {qint64(entry.skipped)});
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
    addList(u"history"_qs, {24, 14, 3, true, Qt::ElideRight, Qt::ElideRight}, L10n::text("No Runs Yet"), u"clock.arrow.circlepath"_qs);
    m_entries = new HistoryListModel(model, m_list);
    m_list->setModel(m_entries);

    auto *footer = new QHBoxLayout;
    auto *note = new QLabel(L10n::text("The latest 50 runs are retained."), this);
    note->setObjectName(u"footnote"_qs);
    note->setFont(Style::captionFont());
    Style::makeSecondary(note);
    footer->addWidget(note);
    footer->addStretch();
    auto *done = new QPushButton(L10n::text("Done"), this);
    done->setObjectName(u"done"_qs);
    done->setDefault(true);
    connect(done, &QPushButton::clicked, this, &QDialog::accept);
    footer->addWidget(done);
    contentLayout()->addLayout(footer);

    connect(&model, &AppModel::historyChanged, this, &HistoryView::update);
    update();
}

void HistoryView::update()
{
    m_entries->reload();
    showPlaceholder(m_entries->rowCount({}) == 0);
}

} // namespace sorvanel
