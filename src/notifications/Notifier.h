// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QString>

#include "OrganizationModels.h"

#include <functional>
#include <optional>

namespace sorvanel {

// Tells the user something once, outside any window.
class Notifier
{
public:
    struct Action
    {
        QString key;
        QString label;
    };

    virtual ~Notifier() = default;
    virtual void notify(const QString &title, const QString &body) = 0;
    // Offers actions with the message, where the notification service can
    // show them, and waits up to `waitMs` for the user to choose one: its key,
    // or nothing when the message was closed, timed out or has no actions.
    virtual std::optional<QString> ask(const QString &title, const QString &body, const QList<Action> &actions,
                                       int waitMs)
    {
        (void)actions;
        (void)waitMs;
        notify(title, body);
        return std::nullopt;
    }
    // The same, for a program that goes on running its event loop: returns
    // at once; `chosen` is called with the action's key if the user picks
    // one, and never otherwise.
    virtual void offer(const QString &title, const QString &body, const QList<Action> &actions,
                       std::function<void(const QString &key)> chosen)
    {
        (void)actions;
        (void)chosen;
        notify(title, body);
    }
    // Shows a folder in the file manager.
    virtual void showFolder(const QString &path) { (void)path; }
};

// What a notification after a cleanup says: "Sorvanel tidied 5 files", and
// below it "1 problem" where there were any.
QString tidiedTitle(const OrganizationResult &result);
QString problemsLine(const OrganizationResult &result);

// A desktop notification over the session bus (org.freedesktop.Notifications);
// silently nothing where no session bus or notification service is reachable.
class DesktopNotifier : public Notifier
{
public:
    void notify(const QString &title, const QString &body) override;
    std::optional<QString> ask(const QString &title, const QString &body, const QList<Action> &actions,
                               int waitMs) override;
    void offer(const QString &title, const QString &body, const QList<Action> &actions,
               std::function<void(const QString &key)> chosen) override;
    // Through the file manager's D-Bus interface (Nautilus, Dolphin, Thunar,
    // Nemo …), or else xdg-open.
    void showFolder(const QString &path) override;
};

} // namespace sorvanel
