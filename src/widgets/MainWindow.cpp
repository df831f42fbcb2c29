// SPDX-License-Identifier: GPL-3.0-or-later
#include "MainWindow.h"

#include "ContentView.h"
#include "Style.h"

namespace sorvanel {

MainWindow::MainWindow(AppModel &model, QWidget *parent)
    : QMainWindow(parent)
{
    setObjectName(u"main"_qs);
    setWindowTitle(u"Sorvanel"_qs);
    setWindowIcon(Style::applicationIcon());
    m_content = new ContentView(model, this);
    setCentralWidget(m_content);
    setMinimumSize(minimumWindowWidth, minimumWindowHeight);
    resize(680, 500);
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
