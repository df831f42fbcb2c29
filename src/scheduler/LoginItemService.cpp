// SPDX-License-Identifier: GPL-3.0-or-later
#include "LoginItemService.h"

#include <QEventLoop>

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
    std::optional<QString> answer;
    QEventLoop loop;
    apply(enabled, [&](const QString &error) {
        answer = error;
        loop.quit();
    });
    if (!answer)
        loop.exec();
    return answer.value_or(QString());
}

} // namespace sorvanel
