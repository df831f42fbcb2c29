// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace sorvanel {

class AppModel;

// The tray icon with its menu. Every action sits in the menu itself, since
// some tray hosts never deliver a click on the icon.
class MenuBarView : public QObject
{
    Q_OBJECT

public:
    explicit MenuBarView(AppModel &model, QObject *parent = nullptr);
    ~MenuBarView() override;

    QMenu *menu() const { return m_menu; }
    QSystemTrayIcon *trayIcon() const { return m_tray; }
    QAction *statusAction() const { return m_status; }
    QAction *watchAction() const { return m_watch; }
    QAction *organizeAction() const { return m_organize; }
    QMenu *recentlyFiledMenu() const { return m_recent; }

signals:
    void openRequested();
    void aboutRequested();
    void quitRequested();

private:
    void update();
    void fillRecentlyFiled();

    AppModel &m_model;
    QMenu *m_menu;
    QSystemTrayIcon *m_tray;
    QAction *m_status;
    QAction *m_watch;
    QAction *m_organize;
    QMenu *m_recent;
};

} // namespace sorvanel
