// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QString>

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
    // Shows a folder in the file manager.
    virtual void showFolder(const QString &path) { (void)path; }
};

// A desktop notification over the session bus (org.freedesktop.Notifications);
// silently nothing where no session bus or notification service is reachable.
class DesktopNotifier : public Notifier
{
public:
    void notify(const QString &title, const QString &body) override;
    std::optional<QString> ask(const QString &title, const QString &body, const QList<Action> &actions,
                               int waitMs) override;
    // Through the file manager's D-Bus interface (Nautilus, Dolphin, Thunar,
    // Nemo …), or else xdg-open.
    void showFolder(const QString &path) override;
};

} // namespace sorvanel
