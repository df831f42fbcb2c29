// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace sorvanel {

// Tells the user something once, outside any window.
class Notifier
{
public:
    virtual ~Notifier() = default;
    virtual void notify(const QString &title, const QString &body) = 0;
};

// A desktop notification over the session bus (org.freedesktop.Notifications);
// silently nothing where no session bus or notification service is reachable.
class DesktopNotifier : public Notifier
{
public:
    void notify(const QString &title, const QString &body) override;
};

} // namespace sorvanel
