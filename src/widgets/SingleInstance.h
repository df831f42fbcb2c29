// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <QObject>

#include <memory>

namespace sorvanel {

// One Sorvanel per user session: the first launch holds a lock and listens;
// a later launch asks it to come forward (or to organize now) and ends. Both live in the user's
// runtime folder, never in the shared temporary folder.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    explicit SingleInstance(const QString &name, QObject *parent = nullptr);

    // What a later launch asks of the running one.
    enum class Request { activate, organize };

    // True for the first instance. A later one has passed on its request.
    bool claim(Request request = Request::activate);

signals:
    void activationRequested();
    void organizeRequested();

private:
    QString m_lockPath;
    QString m_socketPath;
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer m_server;
};

} // namespace sorvanel
