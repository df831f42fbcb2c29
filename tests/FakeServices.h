// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PlatformServices.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

namespace sorvanel::test {

// A scheduler that answers later on the event loop, as the real one does.
class FakeLoginItems : public LoginItemService
{
public:
    Status status = Status::notRegistered;
    QString failure; // what register/unregister answer; empty: success
    Activity activity; // what a running job says of itself
    QStringList calls;

private:
    QObject m_context; // answers die with the fake

public:
    void fetchStatus(std::function<void(Status)> done) override
    {
        calls << u"status"_qs;
        QTimer::singleShot(0, &m_context, [this, done] { done(status); });
    }
    void registerAgent(Completion done) override
    {
        calls << u"register"_qs;
        QTimer::singleShot(0, &m_context, [this, done] {
            if (failure.isEmpty())
                status = Status::enabled;
            done(failure);
        });
    }
    void fetchActivity(std::function<void(Activity)> done) override
    {
        QTimer::singleShot(0, &m_context, [this, done] { done(activity); });
    }
    void unregisterAgent(Completion done) override
    {
        calls << u"unregister"_qs;
        QTimer::singleShot(0, &m_context, [this, done] {
            if (failure.isEmpty())
                status = Status::notRegistered;
            done(failure);
        });
    }
};

class FakeChooser : public FolderChooser
{
public:
    std::optional<Path> answer;
    Path startedIn;
    QString suggested;
    QString title;
    int runs = 0;

    std::optional<Path> chooseFolder(const Path &startDirectory, const QString &suggestedName,
                                     const QString &title) override
    {
        ++runs;
        startedIn = startDirectory;
        suggested = suggestedName;
        this->title = title;
        return answer;
    }
};

} // namespace sorvanel::test
