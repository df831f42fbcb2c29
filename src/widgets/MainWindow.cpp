// SPDX-License-Identifier: GPL-3.0-or-later
#include "MainWindow.h"

#include "AppModel.h"
#include "ContentView.h"
#include "Style.h"

#include <QAction>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLayout>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QTimer>

namespace sorvanel {

MainWindow::MainWindow(AppModel &model, QWidget *parent)
    : QMainWindow(parent)
{
    setObjectName(u"main"_qs);
    setWindowTitle(u"Sorvanel"_qs);
    setWindowIcon(Style::applicationIcon());
    // On a screen too small for the window at its scale, the content
    // scrolls rather than the window hanging off the screen.
    m_content = new ContentView(model);
    auto *scroll = new QScrollArea(this);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setWidget(m_content);
    setCentralWidget(scroll);
    // Centred on its screen, and never larger than what the screen offers,
    // its frame included (a small screen at a large scale factor).
    QRect frame(QPoint(), QSize(680, 500));
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        const QRect available = screen->availableGeometry();
        const QSize room = available.size() - Style::windowFrameAllowance;
        frame.setSize(frame.size().boundedTo(room));
        frame.moveCenter(available.center());
    }
    fitMinimumToContent();
    resize(frame.size().expandedTo(minimumSize()));
    move(frame.topLeft());
    // The summary and the watcher's status lines come and go: the smallest
    // window follows them, once their layout is done.
    connect(&model, &AppModel::lastResultChanged, this,
            [this] { QTimer::singleShot(0, this, &MainWindow::fitMinimumToContent); });
    connect(&model, &AppModel::watchChanged, this,
            [this] { QTimer::singleShot(0, this, &MainWindow::fitMinimumToContent); });
    connect(m_content, &ContentView::presentationRequested, this, &MainWindow::bringForward);
    auto *quit = new QAction(this);
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q)); // every Linux desktop's Quit
    quit->setShortcutContext(Qt::ApplicationShortcut); // in the sheets too
    connect(quit, &QAction::triggered, this, &MainWindow::quitRequested);
    addAction(quit);
}

// As small as the content allows without scrolling, where the screen has room for that.
void MainWindow::fitMinimumToContent()
{
    m_content->layout()->activate();
    QSize smallest = m_content->minimumSizeHint();
    if (const QScreen *screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen())
        smallest = smallest.boundedTo(screen->availableGeometry().size() - Style::windowFrameAllowance);
    setMinimumSize(smallest);
}

void MainWindow::keyPressEvent(QKeyEvent *event)
{
    auto *button = qobject_cast<QPushButton *>(focusWidget());
    if (button && button->isEnabled() && (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)) {
        button->animateClick();
        return;
    }
    QMainWindow::keyPressEvent(event);
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
