// SPDX-License-Identifier: GPL-3.0-or-later
#include "MainWindow.h"

#include "ContentView.h"
#include "Style.h"

#include <QGuiApplication>
#include <QScreen>

namespace sorvanel {

MainWindow::MainWindow(AppModel &model, QWidget *parent)
    : QMainWindow(parent)
{
    setObjectName(u"main"_qs);
    setWindowTitle(u"Sorvanel"_qs);
    setWindowIcon(Style::applicationIcon());
    m_content = new ContentView(model, this);
    setCentralWidget(m_content);
    // Centred on its screen, and never larger than what the screen offers
    // (a small screen at a large scale factor).
    QRect frame(QPoint(), QSize(680, 500));
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        const QRect available = screen->availableGeometry();
        frame.setSize(frame.size().boundedTo(available.size()));
        frame.moveCenter(available.center());
    }
    resize(frame.size());
    move(frame.topLeft());
    connect(m_content, &ContentView::presentationRequested, this, &MainWindow::bringForward);
}

void MainWindow::bringForward()
{
    if (isMinimized())
        showNormal();
    show();
    raise();
    activateWindow();
}

} // namespace sorvanel
