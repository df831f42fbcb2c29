// SPDX-License-Identifier: GPL-3.0-or-later
#include "ContentView.h"

#include "AboutView.h"
#include "AppModel.h"
#include "BusyIndicator.h"
#include "HistoryView.h"
#include "IssuesView.h"
#include "Localization.h"
#include "PathLabel.h"
#include "PreviewView.h"
#include "Style.h"

#include <QCheckBox>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>
#include <QScreen>

#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QTimeEdit>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace sorvanel {

namespace {
// Any whole number in the user's locale; the model clamps it.
QPushButton *linkButton(const QString &text, QWidget *parent)
{
    auto *button = new QPushButton(text, parent);
    button->setFlat(true);
    button->setCursor(Qt::PointingHandCursor);
    QPalette palette = button->palette();
    palette.setColor(QPalette::ButtonText, palette.color(QPalette::Link));
    button->setPalette(palette);
    button->setStyleSheet(u"QPushButton { border: none; padding: 0 2px; text-decoration: underline; }"_qs);
    return button;
}
} // namespace

ContentView::ContentView(AppModel &model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
{
    auto *stack = new QVBoxLayout(this);
    stack->setContentsMargins(28, 28, 28, 28);
    stack->setSpacing(22);
    stack->addLayout(makeHeader());
    stack->addLayout(makeSettingsGrid());
    stack->addLayout(makeActions());
    stack->addWidget(makeProgressRow());
    auto *divider = new QFrame(this);
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);
    stack->addWidget(divider);

    m_summary = new QWidget(this);
    m_summary->setObjectName(u"summary"_qs);
    m_summaryLayout = new QVBoxLayout(m_summary);
    m_summaryLayout->setContentsMargins(0, 0, 0, 0);
    stack->addWidget(m_summary);
    stack->addStretch();

    m_preview = new PreviewView(model, this);
    m_issues = new IssuesView(model, this);
    m_history = new HistoryView(model, this);

    connectControls();
    followModel();

    updateFolders();
    updateThreshold();
    updateAutomatic();
    updateWatch();
    updateRunning();
    updateSummary();
    // A message the model made while starting (a saved folder that is gone)
    // came before this view listened: show it once the window is up.
    QTimer::singleShot(0, this, &ContentView::updateAlert);
}

QLayout *ContentView::makeHeader()
{
    auto *header = new QHBoxLayout;
    auto *titles = new QVBoxLayout;
    titles->setSpacing(4);
    auto *title = new QLabel(u"Sorvanel"_qs, this);
    title->setFont(Style::titleFont(2.0));
    titles->addWidget(title);
    auto *subtitle = new QLabel(L10n::text("Move loose files into dated, categorized folders."), this);
    Style::makeSecondary(subtitle);
    titles->addWidget(subtitle);
    header->addLayout(titles);
    header->addStretch();
    auto *about = new QToolButton(this);
    about->setObjectName(u"aboutButton"_qs);
    about->setIcon(Style::symbol(u"info.circle"_qs));
    about->setIconSize(QSize(22, 22));
    about->setAutoRaise(true);
    about->setToolTip(L10n::text("About Sorvanel"));
    about->setAccessibleName(L10n::text("About Sorvanel"));
    connect(about, &QToolButton::clicked, this, [] { AboutWindowController::shared().show(); });
    header->addWidget(about, 0, Qt::AlignTop);
    return header;
}

QLayout *ContentView::makeSettingsGrid()
{
    auto *grid = new QGridLayout;
    grid->setHorizontalSpacing(16);
    grid->setVerticalSpacing(14);
    grid->setColumnStretch(1, 1);
    grid->addWidget(new QLabel(L10n::text("Source folder"), this), 0, 0);
    grid->addWidget(folderRow(m_sourcePath, &AppModel::chooseSource), 0, 1);
    grid->addWidget(new QLabel(L10n::text("Destination folder"), this), 1, 0);
    grid->addWidget(folderRow(m_destinationPath, &AppModel::chooseDestination), 1, 1);

    grid->addWidget(new QLabel(L10n::text("Large file threshold"), this), 2, 0);
    auto *thresholdRow = new QHBoxLayout;
    m_threshold = new QLineEdit(this);
    m_threshold->setObjectName(u"threshold"_qs);
    m_threshold->setPlaceholderText(QLocale().toString(SettingsSchema::defaultThresholdMB));
    m_threshold->setFixedWidth(90);
    m_threshold->setAlignment(Qt::AlignRight);
    thresholdRow->setSpacing(6);
    thresholdRow->addWidget(m_threshold);
    auto *unit = new QLabel(L10n::text("MB"), this);
    Style::makeSecondary(unit);
    thresholdRow->addWidget(unit);
    thresholdRow->addStretch();
    grid->addLayout(thresholdRow, 2, 1);

    grid->addWidget(new QLabel(L10n::text("Automatic cleanup"), this), 3, 0);
    auto *automaticRow = new QHBoxLayout;
    automaticRow->setSpacing(14);
    m_automaticSwitch = new QCheckBox(this);
    m_automaticSwitch->setObjectName(u"automaticSwitch"_qs);
    m_automaticSwitch->setAccessibleName(L10n::text("Automatic cleanup"));
    automaticRow->addWidget(m_automaticSwitch);
    m_everyDay = new QLabel(L10n::text("Every day at"), this);
    m_everyDay->setObjectName(u"everyDay"_qs);
    automaticRow->addWidget(m_everyDay);
    m_time = new QTimeEdit(this);
    m_time->setObjectName(u"automaticTime"_qs);
    // Hours and minutes only, in the locale's order (some short formats carry seconds).
    QString timeFormat = QLocale().timeFormat(QLocale::ShortFormat);
    timeFormat.remove(QRegularExpression(u"[:.]ss?"_qs));
    m_time->setDisplayFormat(timeFormat);
    m_everyDay->setBuddy(m_time);
    automaticRow->addWidget(m_time);
    automaticRow->addStretch();
    grid->addLayout(automaticRow, 3, 1);
    m_notify = new QCheckBox(L10n::text("Notify after automatic cleanup"), this);
    m_notify->setObjectName(u"notifyAfterAutomatic"_qs);
    grid->addWidget(m_notify, 4, 1);
    makeWatchControls();
    grid->addWidget(new QLabel(L10n::text("Watching"), this), 5, 0);
    grid->addWidget(m_watchSwitch, 5, 1);
    grid->addWidget(m_watchStatus, 6, 1);
    m_trashDuplicates = new QCheckBox(L10n::text("Move files already filed to the Trash"), this);
    m_trashDuplicates->setObjectName(u"trashDuplicates"_qs);
    m_trashDuplicates->setToolTip(L10n::text("A download whose bytes are filed already (a second download of "
                                             "the same file) goes to the Trash instead of beside them."));
    grid->addWidget(new QLabel(L10n::text("Re-downloads"), this), 7, 0);
    grid->addWidget(m_trashDuplicates, 7, 1);
    return grid;
}

// The watcher's switch, and below it what the watcher says it does.
void ContentView::makeWatchControls()
{
    m_watchSwitch = new QCheckBox(L10n::text("File each download as soon as it is finished"), this);
    m_watchSwitch->setObjectName(u"watchSwitch"_qs);
    m_watchStatus = new QLabel(this);
    m_watchStatus->setObjectName(u"watchStatus"_qs);
    m_watchStatus->setWordWrap(true);
    Style::makeSecondary(m_watchStatus);
}

QLayout *ContentView::makeActions()
{
    auto *actions = new QHBoxLayout;
    m_previewButton = new QPushButton(this);
    m_previewButton->setObjectName(u"previewButton"_qs);
    m_previewButton->setIcon(Style::symbol(u"list.bullet.rectangle"_qs, palette().color(QPalette::HighlightedText)));
    m_previewButton->setMinimumWidth(150);
    m_previewButton->setMinimumHeight(34);
    m_previewButton->setDefault(true);
    Style::makeProminent(m_previewButton);
    actions->addWidget(m_previewButton);
    m_organizeButton = new QPushButton(L10n::text("Organize Now"), this);
    m_organizeButton->setObjectName(u"organizeButton"_qs);
    m_organizeButton->setMinimumHeight(34);
    m_organizeButton->setStyleSheet(u"QPushButton { padding: 6px 16px; }"_qs);
    actions->addWidget(m_organizeButton);
    m_busy = new BusyIndicator(this);
    actions->addWidget(m_busy);
    actions->addStretch();
    return actions;
}

// Shown once a run has taken a second: how far it is, and Stop.
QWidget *ContentView::makeProgressRow()
{
    m_progressRow = new QWidget(this);
    m_progressRow->setObjectName(u"progressRow"_qs);
    auto *progressLayout = new QHBoxLayout(m_progressRow);
    progressLayout->setContentsMargins(0, 0, 0, 0);
    progressLayout->setSpacing(12);
    m_progressBar = new QProgressBar(m_progressRow);
    m_progressBar->setTextVisible(false);
    m_progressBar->setRange(0, 1000);
    m_progressBar->setAccessibleName(L10n::text("Progress"));
    progressLayout->addWidget(m_progressBar, 1);
    m_progressText = new QLabel(m_progressRow);
    Style::makeSecondary(m_progressText);
    progressLayout->addWidget(m_progressText);
    m_stop = new QPushButton(L10n::text("Stop"), m_progressRow);
    m_stop->setObjectName(u"stopButton"_qs);
    progressLayout->addWidget(m_stop);
    m_progressRow->hide();
    // A short run shows only the spinner; one that takes longer shows how far it is.
    m_progressDelay = new QTimer(this);
    m_progressDelay->setSingleShot(true);
    m_progressDelay->setInterval(1000);
    return m_progressRow;
}

// Controls write to the model and call its change handlers.
void ContentView::connectControls()
{
    connect(m_threshold, &QLineEdit::editingFinished, this, &ContentView::commitThreshold);
    connect(m_automaticSwitch, &QCheckBox::toggled, this, [this](bool on) {
        if (on == m_model.automaticEnabled())
            return;
        m_model.setAutomaticEnabled(on);
        m_model.automaticEnabledChanged();
    });
    connect(m_watchSwitch, &QCheckBox::toggled, this, [this](bool on) {
        if (on == m_model.watchEnabled())
            return;
        m_model.setWatchEnabled(on);
        m_model.watchEnabledChanged();
    });
    connect(m_trashDuplicates, &QCheckBox::toggled, &m_model, &AppModel::setTrashDuplicates);
    connect(&m_model, &AppModel::trashDuplicatesChanged, this, [this] {
        const QSignalBlocker block(m_trashDuplicates);
        m_trashDuplicates->setChecked(m_model.trashDuplicates());
    });
    m_trashDuplicates->setChecked(m_model.trashDuplicates());
    connect(m_notify, &QCheckBox::toggled, this, [this](bool on) {
        if (on != m_model.notifyAfterAutomatic())
            m_model.setNotifyAfterAutomatic(on);
    });
    connect(m_time, &QTimeEdit::timeChanged, this, [this](QTime time) {
        const QDateTime current = m_model.automaticTime().toLocalTime();
        if (current.time().hour() == time.hour() && current.time().minute() == time.minute())
            return;
        m_model.setAutomaticTime(QDateTime(QDate::currentDate(), QTime(time.hour(), time.minute())).toUTC());
        m_model.automaticTimeChanged();
    });
    connect(m_previewButton, &QPushButton::clicked, &m_model, &AppModel::previewChanges);
    connect(m_organizeButton, &QPushButton::clicked, &m_model, &AppModel::organizeNow);
    connect(m_stop, &QPushButton::clicked, &m_model, &AppModel::stopRun);
    connect(m_progressDelay, &QTimer::timeout, this, &ContentView::updateProgress);
    // A sheet closed by its own button (or Escape) clears its flag.
    connect(m_preview, &QDialog::finished, this, [this] { m_model.setShowsPreview(false); });
    connect(m_issues, &QDialog::finished, this, [this] { m_model.setShowsIssues(false); });
    connect(m_history, &QDialog::finished, this, [this] { m_model.setShowsHistory(false); });
}

// The model drives what is shown.
void ContentView::followModel()
{
    connect(&m_model, &AppModel::sourceURLChanged, this, &ContentView::updateFolders);
    connect(&m_model, &AppModel::destinationURLChanged, this, &ContentView::updateFolders);
    connect(&m_model, &AppModel::thresholdMBChanged, this, &ContentView::updateThreshold);
    connect(&m_model, &AppModel::automaticEnabledValueChanged, this, &ContentView::updateAutomatic);
    connect(&m_model, &AppModel::automaticTimeValueChanged, this, &ContentView::updateAutomatic);
    connect(&m_model, &AppModel::watchChanged, this, &ContentView::updateWatch);
    connect(&m_model, &AppModel::isRunningChanged, this, &ContentView::updateRunning);
    connect(&m_model, &AppModel::progressChanged, this, &ContentView::updateProgress);
    connect(&m_model, &AppModel::isStoppingChanged, this, &ContentView::updateProgress);
    connect(&m_model, &AppModel::lastResultChanged, this, &ContentView::updateSummary);
    connect(&m_model, &AppModel::alertMessageChanged, this, &ContentView::updateAlert);
    connect(&m_model, &AppModel::showsPreviewChanged, this, [this] { present(m_preview, m_model.showsPreview()); });
    connect(&m_model, &AppModel::showsIssuesChanged, this, [this] { present(m_issues, m_model.showsIssues()); });
    connect(&m_model, &AppModel::showsHistoryChanged, this, [this] { present(m_history, m_model.showsHistory()); });
}

QWidget *ContentView::folderRow(PathLabel *&label, void (AppModel::*choose)())
{
    auto *row = new QWidget(this);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    label = new PathLabel(row);
    layout->addWidget(label, 1);
    auto *button = new QPushButton(L10n::text("Choose…"), row);
    connect(button, &QPushButton::clicked, &m_model, choose);
    layout->addWidget(button);
    return row;
}

void ContentView::updateFolders()
{
    m_sourcePath->setPath(displayPath(m_model.sourceURL()));
    m_destinationPath->setPath(displayPath(m_model.destinationURL()));
}

void ContentView::updateThreshold()
{
    m_threshold->setText(QLocale().toString(m_model.thresholdMB()));
}

void ContentView::commitThreshold()
{
    // Return or leaving the field: a whole number in range goes to the model;
    // anything else ("1.5", "0", "x") is refused with a word, never rounded,
    // clamped or shortened, and the field shows the value kept.
    const QString typed = m_threshold->text().trimmed();
    bool ok = false;
    qint64 value = QLocale().toLongLong(typed, &ok);
    if (!ok)
        value = typed.toLongLong(&ok);
    if (ok && value >= SettingsSchema::minimumThresholdMB && value <= SettingsSchema::maximumThresholdMB) {
        m_model.setThresholdMB(value);
        m_model.thresholdChanged();
    } else if (!typed.isEmpty() && typed != QLocale().toString(m_model.thresholdMB())) {
        m_model.setAlertMessage(
            L10n::format("“%@” can't be the large file threshold: it is a whole number of megabytes from %@ to %@.",
                         {typed, QLocale().toString(SettingsSchema::minimumThresholdMB),
                          QLocale().toString(SettingsSchema::maximumThresholdMB)}));
    }
    updateThreshold(); // the value the model keeps, changed or not
}

void ContentView::updateAutomatic()
{
    const QSignalBlocker blockSwitch(m_automaticSwitch);
    const QSignalBlocker blockTime(m_time);
    m_automaticSwitch->setChecked(m_model.automaticEnabled());
    const QTime time = m_model.automaticTime().toLocalTime().time();
    m_time->setTime(QTime(time.hour(), time.minute()));
    m_time->setEnabled(m_model.automaticEnabled());
    m_everyDay->setEnabled(m_model.automaticEnabled()); // dims with its field
    const QSignalBlocker blockNotify(m_notify);
    m_notify->setChecked(m_model.notifyAfterAutomatic());
    m_notify->setEnabled(m_model.automaticEnabled());
}

void ContentView::updateWatch()
{
    const QSignalBlocker block(m_watchSwitch);
    m_watchSwitch->setChecked(m_model.watchEnabled());
    m_watchStatus->setText(m_model.watchStatus());
    m_watchStatus->setVisible(m_model.watchEnabled() && !m_model.watchStatus().isEmpty());
}

void ContentView::updateRunning()
{
    const bool running = m_model.isRunning();
    // "Checking…" says what a preview does; a run or an undo shows its progress instead.
    m_previewButton->setText(m_model.isPreviewing() ? L10n::text("Checking…") : L10n::text("Preview Changes"));
    m_previewButton->setEnabled(!running);
    m_organizeButton->setEnabled(!running);
    if (running && !m_progressDelay->isActive() && !m_progressRow->isVisible())
        m_progressDelay->start();
    else if (!running)
        m_progressDelay->stop();
    updateProgress();
}

void ContentView::updateProgress()
{
    const bool running = m_model.isRunning();
    const auto &progress = m_model.progress();
    const bool shows = running && progress && !m_progressDelay->isActive();
    m_progressRow->setVisible(shows);
    m_busy->setVisible(running && !shows);
    if (!shows)
        return;
    // Bytes tell the time a run takes better than files; without sizes, files.
    const double done = progress->bytesTotal > 0
        ? double(progress->bytesDone) / double(progress->bytesTotal)
        : double(progress->filesDone) / double(std::max<qint64>(progress->filesTotal, 1));
    m_progressBar->setValue(int(done * 1000));
    const QLocale locale;
    m_progressText->setText(
        L10n::format("%@ of %@ files",
                     {locale.toString(qint64(progress->filesDone)), locale.toString(qint64(progress->filesTotal))}));
    m_stop->setEnabled(!m_model.isStopping());
    m_stop->setText(m_model.isStopping() ? L10n::text("Stopping…") : L10n::text("Stop"));
}

void ContentView::updateSummary()
{
    delete m_summaryBody;
    m_summaryBody = new QWidget(m_summary);
    m_summaryLayout->addWidget(m_summaryBody);
    // Two lines, when it ran and what it did, so that no language's longer
    // words push a count out of a narrow window.
    auto *lines = new QVBoxLayout(m_summaryBody);
    lines->setContentsMargins(0, 0, 0, 0);
    lines->setSpacing(10);
    auto *when = new QHBoxLayout;
    when->setSpacing(18);
    lines->addLayout(when);
    const auto &result = m_model.lastResult();
    if (!result) {
        auto *none = new QLabel(L10n::text("Not run yet"), m_summaryBody);
        none->setObjectName(u"notRunYet"_qs);
        Style::makeSecondary(none);
        when->addWidget(none);
        when->addStretch();
        return;
    }
    const auto add = [this](QHBoxLayout *line, const QString &symbol, const QString &text) {
        auto *label = new QLabel(text, m_summaryBody);
        label->setMinimumWidth(label->sizeHint().width()); // a count is never cut
        line->addWidget(Style::iconLabel(symbol, label, m_summaryBody));
    };
    add(when, u"clock"_qs, Style::abbreviatedDateTime(result->runDate));
    if (!result->issues.isEmpty() || !result->alreadyFiled.empty()) {
        auto *details = linkButton(L10n::text("Details…"), m_summaryBody);
        details->setObjectName(u"details"_qs);
        connect(details, &QPushButton::clicked, this, [this] { m_model.showRunIssues(); });
        when->addWidget(details);
    }
    auto *history = linkButton(L10n::text("History…"), m_summaryBody);
    history->setObjectName(u"historyLink"_qs);
    connect(history, &QPushButton::clicked, this, [this] { m_model.setShowsHistory(true); });
    when->addWidget(history);
    when->addStretch();
    auto *counts = new QHBoxLayout;
    counts->setSpacing(18);
    lines->addLayout(counts);
    add(counts, u"arrow.right.circle"_qs, L10n::format("Moved: %d", {qint64(result->moved)}));
    add(counts, u"forward.circle"_qs, L10n::format("Skipped: %d", {qint64(result->skipped)}));
    add(counts, u"exclamationmark.triangle"_qs, L10n::format("Failed: %d", {qint64(result->failed())}));
    if (!result->alreadyFiled.empty())
        add(counts, u"trash.fill"_qs, L10n::format("Already filed: %d", {qint64(result->alreadyFiled.size())}));
    counts->addStretch();
}

void ContentView::placeOverWindow(QWidget *sheet) const
{
    // Centred over the window's content, never over its title bar, and
    // within the screen the window is on, frame included: at a large scale
    // on a small screen the sheet is made smaller, so its buttons stay in reach.
    const QRect content = window()->geometry();
    QSize size = sheet->size().expandedTo(sheet->minimumSizeHint());
    if (const QScreen *screen = window()->screen()) {
        size = size.boundedTo(screen->availableGeometry().size() - Style::windowFrameAllowance);
        sheet->resize(size);
    }
    QPoint topLeft(content.center().x() - size.width() / 2,
                   content.top() + std::max(0, (content.height() - size.height()) / 2));
    if (const QScreen *screen = window()->screen()) {
        const QRect available = screen->availableGeometry();
        const QSize framed = size + Style::windowFrameAllowance;
        topLeft.setX(
            std::clamp(topLeft.x(), available.left(), std::max(available.left(), available.right() - framed.width())));
        topLeft.setY(
            std::clamp(topLeft.y(), available.top(), std::max(available.top(), available.bottom() - framed.height())));
    }
    sheet->move(topLeft);
}

void ContentView::present(QWidget *sheet, bool shows)
{
    if (shows && !sheet->isVisible()) {
        emit presentationRequested();
        placeOverWindow(sheet);
        static_cast<QDialog *>(sheet)->open();
    } else if (!shows && sheet->isVisible()) {
        sheet->hide();
    }
}

void ContentView::updateAlert()
{
    const auto &message = m_model.alertMessage();
    if (!message) {
        if (m_alert)
            m_alert->hide();
        return;
    }
    if (!m_alert) {
        m_alert = new QMessageBox(QMessageBox::Warning, u"Sorvanel"_qs, QString(), QMessageBox::NoButton, this);
        m_alert->setObjectName(u"alert"_qs);
        m_alert->setWindowModality(Qt::WindowModal);
        m_alert->addButton(L10n::text("OK"), QMessageBox::AcceptRole);
        // Dismissed by any means: the message is gone.
        connect(m_alert, &QDialog::finished, this, [this] {
            if (m_model.alertMessage())
                m_model.setAlertMessage(std::nullopt);
        });
    }
    m_alert->setText(*message);
    if (!m_alert->isVisible()) {
        emit presentationRequested();
        m_alert->open();
    }
}

} // namespace sorvanel
