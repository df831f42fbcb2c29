// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMainWindow>

namespace sorvanel {

class AppModel;
class ContentView;

// The one main window of the process. Closing it only hides it while the
// tray icon keeps the program reachable.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(AppModel &model, QWidget *parent = nullptr);

    ContentView *content() const { return m_content; }
    // Show, raise and activate: "Open Sorvanel".
    void bringForward();

signals:
    // Ctrl+Q: the keyboard's way to quit, where the tray's menu is out of reach.
    void quitRequested();

protected:
    // Return on a focused button presses it, as Space does.
    void keyPressEvent(QKeyEvent *event) override;
    void fitMinimumToContent();

private:
    ContentView *m_content;
};

} // namespace sorvanel
