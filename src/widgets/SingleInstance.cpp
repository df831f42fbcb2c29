// SPDX-License-Identifier: GPL-3.0-or-later
#include "SingleInstance.h"

#include <QDir>
#include <QLocalSocket>
#include <QStandardPaths>

namespace sorvanel {

SingleInstance::SingleInstance(const QString &name, QObject *parent)
    : QObject(parent)
{
    QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (runtime.isEmpty())
        runtime = QDir::tempPath();
    m_lockPath = runtime + u'/' + name + u".lock"_qs;
    m_socketPath = runtime + u'/' + name + u".socket"_qs;
}

bool SingleInstance::claim()
{
    m_lock = std::make_unique<QLockFile>(m_lockPath);
    m_lock->setStaleLockTime(0); // a lock is stale only when its process is gone
    if (!m_lock->tryLock(100)) {
        if (m_lock->error() == QLockFile::LockFailedError) {
            QLocalSocket socket;
            socket.connectToServer(m_socketPath);
            if (socket.waitForConnected(2000)) {
                socket.write("activate\n");
                socket.waitForBytesWritten(2000);
                socket.disconnectFromServer();
                return false;
            }
        }
        // No lock possible here (a read-only runtime folder): run on our own.
        return true;
    }
    QLocalServer::removeServer(m_socketPath);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    m_server.listen(m_socketPath);
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket *socket = m_server.nextPendingConnection()) {
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                if (socket->readAll().startsWith("activate"))
                    emit activationRequested();
                socket->deleteLater();
            });
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
    return true;
}

} // namespace sorvanel
