// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Notifier.h"

#include <QStringList>

namespace sorvanel::test {

// Keeps what it was asked to tell, and answers with `answer`.
class RecordingNotifier : public Notifier
{
public:
    void notify(const QString &title, const QString &body) override { messages << title + QStringLiteral(": ") + body; }
    std::optional<QString> ask(const QString &title, const QString &body, const QList<Action> &actions, int) override
    {
        notify(title, body);
        for (const Action &action : actions)
            keys << action.key;
        return answer;
    }
    void offer(const QString &title, const QString &body, const QList<Action> &actions,
               std::function<void(const QString &)> chosen) override
    {
        (void)ask(title, body, actions, 0);
        offered.append(std::move(chosen));
    }
    void showFolder(const QString &path) override { shown << path; }
    QList<std::function<void(const QString &)>> offered; // what each offer calls with the key chosen
    QStringList messages;
    QStringList keys; // the actions offered
    QStringList shown;
    std::optional<QString> answer;
};

} // namespace sorvanel::test
