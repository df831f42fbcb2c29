// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QTimer>

#include <memory>

class QApplication;

namespace sorvanel {

class AppModel;
class FileDialogFolderChooser;
class MainWindow;
class MenuBarView;
class FileManager;
class Notifier;
struct OrganizationResult;

// The program: one model, the tray menu and the main window. Started by hand
// the window opens, so a new user sees at once that something started; only
// Organize Now from the desktop entry, with a tray, stays in the tray. Without
// a tray closing the window quits, so Sorvanel is never invisible; a tray
// that turns up later is picked up.
class SorvanelApp : public QObject
{
    Q_OBJECT

public:
    // `notifier` tells of an Organize Now the window does not show;
    // `fileManager` shows the filed files the user asks to see.
    explicit SorvanelApp(std::unique_ptr<AppModel> model, std::shared_ptr<FileDialogFolderChooser> chooser,
                         std::shared_ptr<Notifier> notifier = nullptr,
                         std::shared_ptr<FileManager> fileManager = nullptr, QObject *parent = nullptr);
    ~SorvanelApp() override;

    // Builds the real services: the shared settings, systemd, the file dialog.
    static std::unique_ptr<SorvanelApp> create();

    enum class Start { byHand, toOrganize };
    void start(Start how = Start::byHand);
    void openMainWindow();

    AppModel &model() const { return *m_model; }
    MainWindow &mainWindow() const { return *m_window; }
    MenuBarView &menuBar() const { return *m_menu; }

private:
    void updateTray();
    // After an Organize Now from the tray or the desktop entry, with the
    // window out of sight: what the daily run's notification says, with
    // "Open Folder" and "Undo". A failure brings the window up instead.
    void tellOfOrganizeNow(const OrganizationResult &result, const QUuid &run);

    std::unique_ptr<AppModel> m_model;
    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<MenuBarView> m_menu;
    QTimer m_trayWatch;
    std::shared_ptr<Notifier> m_notifier;
    std::shared_ptr<FileManager> m_fileManager;
};

} // namespace sorvanel
