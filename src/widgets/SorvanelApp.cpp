// SPDX-License-Identifier: GPL-3.0-or-later
#include "SorvanelApp.h"

#include "AboutView.h"
#include "AppModel.h"
#include "FileDialogFolderChooser.h"
#include "FileManager.h"
#include "Localization.h"
#include "MainWindow.h"
#include "MenuBarView.h"
#include "Notifier.h"
#include "SettingsStore.h"
#include "SystemdLoginItemService.h"

#include <QApplication>
#include <QFileInfo>
#include <QPointer>
#include <QSystemTrayIcon>

namespace sorvanel {

SorvanelApp::SorvanelApp(std::unique_ptr<AppModel> model, std::shared_ptr<FileDialogFolderChooser> chooser,
                         std::shared_ptr<Notifier> notifier, std::shared_ptr<FileManager> fileManager, QObject *parent)
    : QObject(parent)
    , m_model(std::move(model))
    , m_notifier(std::move(notifier))
    , m_fileManager(std::move(fileManager))
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
    connect(m_model.get(), &AppModel::organizedNow, this, &SorvanelApp::tellOfOrganizeNow);
    connect(m_model.get(), &AppModel::showItemRequested, this, [this](const QString &file) {
        if (m_fileManager)
            m_fileManager->showItem(file);
    });
}

void SorvanelApp::tellOfOrganizeNow(const OrganizationResult &result, const QUuid &run)
{
    if (!m_notifier || !result.issues.isEmpty() || (m_window->isVisible() && !m_window->isMinimized()))
        return;
    if (result.moved == 0 && result.alreadyFiled.empty()) {
        m_notifier->notify(L10n::text("Sorvanel found nothing to tidy"), QString());
        return;
    }
    const QString destination = displayPath(m_model->filedInto(run));
    QPointer<AppModel> model(m_model.get());
    std::weak_ptr<Notifier> notifier = m_notifier;
    m_notifier->offer(tidiedTitle(result), L10n::format("Into %@", {QFileInfo(destination).fileName()}),
                      {{u"open"_qs, L10n::text("Open Folder")}, {u"undo"_qs, L10n::text("Undo")}},
                      [model, notifier, destination, run](const QString &key) {
                          if (key == u"undo" && model)
                              model->undoRun(run);
                          else if (key == u"open")
                              if (const auto shown = notifier.lock())
                                  shown->showFolder(destination);
                      });
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
    auto notifier = std::make_shared<DesktopNotifier>();
    model->setWatcherService(
        std::make_shared<SystemdLoginItemService>(agent, SystemdLoginItemService::defaultUnitDirectory(),
                                                  u"systemctl"_qs, nullptr, SystemdLoginItemService::Job::watcher));
    return std::make_unique<SorvanelApp>(std::move(model), chooser, notifier, std::make_shared<DesktopFileManager>());
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
