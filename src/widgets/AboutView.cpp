// SPDX-License-Identifier: GPL-3.0-or-later
#include "AboutView.h"

#include "Localization.h"
#include "Style.h"

#include <QApplication>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QShortcut>
#include <QSvgRenderer>
#include <QVBoxLayout>

namespace sorvanel {

namespace {
// The artwork, scaled to fit and clipped to a rounded rectangle.
class Artwork : public QWidget
{
public:
    explicit Artwork(QWidget *parent)
        : QWidget(parent)
        , m_renderer(u":/AboutArtwork.svg"_qs)
    {
        // 520 × 250 where the texts leave room; shorter (scaled to fit) where
        // a larger font or a longer translation needs the space.
        setMinimumSize(520, 150);
        setMaximumSize(520, 250);
        setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QSizeF size = m_renderer.defaultSize();
        size.scale(QSizeF(rect().size()), Qt::KeepAspectRatio);
        const QRectF target(QPointF((width() - size.width()) / 2, (height() - size.height()) / 2), size);
        QPainterPath clip;
        clip.addRoundedRect(target, 18, 18);
        painter.setClipPath(clip);
        m_renderer.render(&painter, target);
    }

private:
    QSvgRenderer m_renderer;
};
} // namespace

QString AboutView::versionText()
{
    const QString version = QStringLiteral(SORVANEL_VERSION);
    return version.isEmpty() ? u"0.1.0"_qs : version;
}

AboutView::AboutView(QWidget *parent)
    : QWidget(parent)
{
    setFixedSize(568, 390);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 24, 24, 24);
    layout->setSpacing(16);
    layout->addWidget(new Artwork(this), 1, Qt::AlignHCenter);

    auto *texts = new QVBoxLayout;
    texts->setSpacing(5);
    auto *name = new QLabel(u"Sorvanel"_qs, this);
    name->setFont(Style::titleFont(1.5));
    texts->addWidget(name, 0, Qt::AlignHCenter);
    auto *version = new QLabel(L10n::format("Version %@", {versionText()}), this);
    version->setObjectName(u"version"_qs);
    Style::makeSecondary(version);
    texts->addWidget(version, 0, Qt::AlignHCenter);
    auto *description =
        new QLabel(L10n::text("A quiet Linux utility that keeps downloads organized by file date and category."), this);
    description->setWordWrap(true);
    description->setAlignment(Qt::AlignCenter);
    description->setFixedWidth(430);
    description->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Minimum);
    texts->addWidget(description, 0, Qt::AlignHCenter);
    auto *link = new QLabel(QStringLiteral("<a href=\"%1\">%1</a>").arg(QLatin1String(webPage)), this);
    link->setObjectName(u"link"_qs);
    link->setOpenExternalLinks(true);
    link->setTextInteractionFlags(Qt::TextBrowserInteraction);
    texts->addWidget(link, 0, Qt::AlignHCenter);
    layout->addLayout(texts);
}

AboutWindowController &AboutWindowController::shared()
{
    static AboutWindowController controller; // made on first use, thread-safe
    return controller;
}

AboutWindowController::AboutWindowController()
{
    m_window = new AboutView;
    m_window->setObjectName(u"aboutWindow"_qs);
    m_window->setWindowTitle(L10n::text("About Sorvanel"));
    m_window->setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint
                             | Qt::MSWindowsFixedSizeDialogHint);
    m_window->setAttribute(Qt::WA_DeleteOnClose, false);
    m_window->setAttribute(Qt::WA_QuitOnClose, false);
    QObject::connect(qApp, &QCoreApplication::aboutToQuit, m_window, [window = m_window] { delete window; });
    // Closed like any small window: Escape, or the desktop's Close shortcut (Ctrl+W).
    QList<QKeySequence> closing = QKeySequence::keyBindings(QKeySequence::Close);
    for (const QKeySequence &keys : {QKeySequence(Qt::Key_Escape), QKeySequence(Qt::CTRL | Qt::Key_W)}) {
        if (!closing.contains(keys))
            closing << keys; // the same everywhere, whatever the platform's theme binds
    }
    for (const QKeySequence &keys : closing) {
        auto *shortcut = new QShortcut(keys, m_window);
        QObject::connect(shortcut, &QShortcut::activated, m_window, &QWidget::close);
    }
}

void AboutWindowController::show()
{
    // A fixed size: window managers offer no maximize for it.
    m_window->setFixedSize(m_window->sizeHint().expandedTo(m_window->minimumSize()));
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        QRect frame = m_window->frameGeometry();
        frame.moveCenter(screen->availableGeometry().center());
        m_window->move(frame.topLeft());
    }
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

} // namespace sorvanel
