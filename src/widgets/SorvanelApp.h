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

// The program: one model, the tray menu and the main window. Without a tray
// the window opens at start and closing it quits, so Sorvanel is never
// invisible; a tray that turns up later is picked up.
class SorvanelApp : public QObject
{
    Q_OBJECT

public:
    explicit SorvanelApp(std::unique_ptr<AppModel> model, std::shared_ptr<FileDialogFolderChooser> chooser,
                         QObject *parent = nullptr);
    ~SorvanelApp() override;

    // Builds the real services: the shared settings, systemd, the file dialog.
    static std::unique_ptr<SorvanelApp> create();

    void start();
    void openMainWindow();

    AppModel &model() const { return *m_model; }
    MainWindow &mainWindow() const { return *m_window; }
    MenuBarView &menuBar() const { return *m_menu; }

private:
    void updateTray();

    std::unique_ptr<AppModel> m_model;
    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<MenuBarView> m_menu;
    QTimer m_trayWatch;
};

} // namespace sorvanel
