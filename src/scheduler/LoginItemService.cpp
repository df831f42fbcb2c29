// SPDX-License-Identifier: GPL-3.0-or-later
#include "LoginItemService.h"

#include <QEventLoop>

#include <memory>
#include <optional>

namespace sorvanel {

void LoginItemService::apply(bool enabled, Completion done)
{
    fetchStatus([this, enabled, done = std::move(done)](Status status) {
        const bool isEnabled = status == Status::enabled;
        if (enabled && !isEnabled)
            registerAgent(done);
        else if (!enabled && isEnabled)
            unregisterAgent(done);
        else
            done({});
    });
}

QString LoginItemService::applyAndWait(bool enabled)
{
    QEventLoop loop;
    // Shared with the callback, which may outlive this call if the loop is left early.
    const auto answer = std::make_shared<std::optional<QString>>();
    apply(enabled, [answer, &loop](const QString &error) {
        if (!answer->has_value()) {
            *answer = error;
            loop.quit();
        }
    });
    if (!answer->has_value())
        loop.exec();
    return answer->value_or(QString());
}

} // namespace sorvanel
