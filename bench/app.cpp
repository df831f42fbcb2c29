// SPDX-License-Identifier: GPL-3.0-or-later
// sorvanel-bench-app: how long the preview sheet takes to open with 100,000
// moves once the plan has arrived, and how long each scroll step takes.
#include "AppModel.h"
#include "ContentView.h"
#include "MainWindow.h"
#include "PreviewView.h"
#include "SettingsStore.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QListView>
#include <QScrollBar>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

using namespace sorvanel;

namespace {
class NoScheduler : public LoginItemService
{
public:
    void fetchStatus(std::function<void(Status)> done) override { done(Status::notRegistered); }
    void registerAgent(Completion done) override { done({}); }
    void unregisterAgent(Completion done) override { done({}); }
};

class NoChooser : public FolderChooser
{
public:
    std::optional<Path> chooseFolder(const Path &, const QString &, const QString &) override { return std::nullopt; }
};
} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QTemporaryDir home;
    qputenv("HOME", QFile::encodeName(home.path()));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + QStringLiteral("/.config")));
    QApplication app(argc, argv);
    const int count = argc > 1 ? std::atoi(argv[1]) : 100000;

    OrganizationPlan plan;
    plan.generatedAt = QDateTime::currentDateTimeUtc();
    plan.destinationRoot = "/home/user/Downloads/__filesDownloadedAt";
    for (int i = 0; i < count; ++i) {
        const std::string name = "Screenshot " + std::to_string(i) + (i % 3 ? ".png" : ".pdf");
        plan.moves.push_back(PlannedMove{QUuid::createUuid(),
                                         "/home/user/Downloads/" + name,
                                         plan.destinationRoot / "2026-11-21" / (i % 3 ? "graphic" : "docs") / name,
                                         i % 3 ? FileCategory::graphic : FileCategory::docs,
                                         false,
                                         plan.generatedAt,
                                         {}});
    }

    AppModel model(std::make_shared<SettingsStore>(), std::make_shared<NoScheduler>(), std::make_shared<NoChooser>());
    MainWindow window(model);
    window.show();
    QApplication::processEvents();

    QElapsedTimer timer;
    timer.start();
    model.setPreviewPlan(std::move(plan));
    model.setShowsPreview(true);
    PreviewView *sheet = window.content()->previewSheet();
    while (!sheet->isVisible())
        QApplication::processEvents();
    sheet->grab(); // the first full paint
    const double openMs = double(timer.nsecsElapsed()) / 1e6;

    QListView *list = sheet->list();
    QScrollBar *bar = list->verticalScrollBar();
    double worst = 0, total = 0;
    const int steps = 400;
    for (int i = 0; i <= steps; ++i) {
        timer.restart();
        bar->setValue(int(qint64(bar->maximum()) * i / steps));
        list->viewport()->grab(); // paints the visible rows, as a frame would
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        worst = std::max(worst, ms);
        total += ms;
    }
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    double peakMB = 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            peakMB = line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    std::printf("preview sheet with %d moves: opened and painted in %.1f ms; scrolling: %.2f ms per step on average, "
                "%.2f ms at worst (%d steps over the whole list); peak memory %.1f MB\n",
                count, openMs, total / (steps + 1), worst, steps + 1, peakMB);
    return 0;
}
