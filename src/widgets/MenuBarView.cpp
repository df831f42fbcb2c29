// SPDX-License-Identifier: GPL-3.0-or-later
#include "MenuBarView.h"

#include "AppModel.h"
#include "Localization.h"
#include "ShellQuoting.h"
#include "Style.h"

#include <QMenu>
#include <QSystemTrayIcon>

namespace sorvanel {

MenuBarView::MenuBarView(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    m_menu = new QMenu;
    m_status = m_menu->addAction(QString());
    m_status->setEnabled(false);
    m_watch = m_menu->addAction(QString());
    m_watch->setEnabled(false);
    m_menu->addSeparator();
    m_organize = m_menu->addAction(L10n::text("Organize Now"), &model, &AppModel::organizeNow);
    m_recent = m_menu->addMenu(L10n::text("Recently Filed"));
    m_recent->setObjectName(u"recentlyFiled"_qs);
    m_menu->addAction(L10n::text("Open Sorvanel"), this, &MenuBarView::openRequested);
    m_menu->addAction(L10n::text("About"), this, &MenuBarView::aboutRequested);
    m_menu->addSeparator();
    m_menu->addAction(L10n::text("Quit"), this, &MenuBarView::quitRequested);

    m_tray = new QSystemTrayIcon(Style::applicationIcon(), this);
    m_tray->setToolTip(u"Sorvanel"_qs);
    m_tray->setContextMenu(m_menu);
    // A click on the icon opens the window where the host delivers one.
    connect(m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
            emit openRequested();
    });

    connect(&model, &AppModel::lastResultChanged, this, &MenuBarView::update);
    connect(&model, &AppModel::isRunningChanged, this, &MenuBarView::update);
    connect(&model, &AppModel::watchChanged, this, &MenuBarView::update);
    connect(&model, &AppModel::historyChanged, this, &MenuBarView::fillRecentlyFiled);
    // Files filed by the agent or the watcher meanwhile are shown too.
    connect(m_menu, &QMenu::aboutToShow, this, &MenuBarView::fillRecentlyFiled);
    update();
    fillRecentlyFiled();
}

// The latest ten files filed, newest first: each opens its folder with the
// file selected. One no longer where it was filed is named, not offered.
void MenuBarView::fillRecentlyFiled()
{
    m_recent->clear();
    const std::vector<FiledFile> files = m_model.recentlyFiled(10);
    if (files.empty())
        m_recent->addAction(L10n::text("Nothing filed yet"))->setEnabled(false);
    for (const FiledFile &file : files) {
        QString text = shownName(filenameOf(file.source)).replace(u'&', u"&&"_qs);
        if (file.state == FiledState::gone)
            text = L10n::format("%@ (%@)", {text, localizedName(file.state)});
        QAction *action = m_recent->addAction(text);
        action->setToolTip(displayPath(file.destination));
        action->setEnabled(file.state != FiledState::gone);
        const Path where = file.destination;
        connect(action, &QAction::triggered, &m_model, [this, where] { m_model.showInFolder(where); });
    }
}

MenuBarView::~MenuBarView()
{
    delete m_menu;
}

void MenuBarView::update()
{
    const auto &result = m_model.lastResult();
    m_status->setText(
        result ? L10n::format("Last run: %d moved, %d failed", {qint64(result->moved), qint64(result->issues.size())})
               : L10n::text("Not run yet"));
    m_organize->setEnabled(!m_model.isRunning());
    // Whether the folder is watched, or why not, where the watcher is switched on.
    m_watch->setText(m_model.watchStatus());
    m_watch->setVisible(m_model.watchEnabled() && !m_model.watchStatus().isEmpty());
}

} // namespace sorvanel
