// SPDX-License-Identifier: GPL-3.0-or-later
#include "SorvanelApp.h"

#include "AboutView.h"
#include "AppModel.h"
#include "FileDialogFolderChooser.h"
#include "MainWindow.h"
#include "MenuBarView.h"
#include "SettingsStore.h"
#include "SystemdLoginItemService.h"

#include <QApplication>
#include <QSystemTrayIcon>

namespace sorvanel {

SorvanelApp::SorvanelApp(std::unique_ptr<AppModel> model, std::shared_ptr<FileDialogFolderChooser> chooser,
                         QObject *parent)
    : QObject(parent)
    , m_model(std::move(model))
{
    m_window = std::make_unique<MainWindow>(*m_model);
    if (chooser)
        chooser->setParentWindow(m_window.get());
    m_menu = std::make_unique<MenuBarView>(*m_model);
    connect(m_menu.get(), &MenuBarView::openRequested, this, &SorvanelApp::openMainWindow);
    connect(m_menu.get(), &MenuBarView::aboutRequested, this, [] { AboutWindowController::shared().show(); });
    connect(m_menu.get(), &MenuBarView::quitRequested, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    connect(m_window.get(), &MainWindow::quitRequested, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    m_trayWatch.setInterval(5000);
    connect(&m_trayWatch, &QTimer::timeout, this, &SorvanelApp::updateTray);
}

SorvanelApp::~SorvanelApp()
{
    // Windows first; the model last, once a run in progress has finished its step.
    m_menu.reset();
    m_window.reset();
    m_model.reset();
}

std::unique_ptr<SorvanelApp> SorvanelApp::create()
{
    auto store = std::make_shared<SettingsStore>();
    const QString agent = SystemdLoginItemService::agentBesideThisProgram();
    auto scheduler = std::make_shared<SystemdLoginItemService>(agent);
    auto chooser = std::make_shared<FileDialogFolderChooser>();
    auto model = std::make_unique<AppModel>(store, scheduler, chooser);
    model->setWatcherService(
        std::make_shared<SystemdLoginItemService>(agent, SystemdLoginItemService::defaultUnitDirectory(),
                                                  u"systemctl"_qs, nullptr, SystemdLoginItemService::Job::watcher));
    return std::make_unique<SorvanelApp>(std::move(model), chooser);
}

void SorvanelApp::start(Start how)
{
    updateTray();
    if (how == Start::byHand || !m_menu->trayIcon()->isVisible())
        openMainWindow();
}

void SorvanelApp::openMainWindow()
{
    m_window->bringForward();
}

void SorvanelApp::updateTray()
{
    const bool available = QSystemTrayIcon::isSystemTrayAvailable();
    m_menu->trayIcon()->setVisible(available);
    // With a tray, closing the window keeps the program there; without one it quits.
    QApplication::setQuitOnLastWindowClosed(!available);
    if (available)
        m_trayWatch.stop();
    else if (!m_trayWatch.isActive())
        m_trayWatch.start();
}

} // namespace sorvanel
