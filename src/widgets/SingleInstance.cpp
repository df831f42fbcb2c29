// SPDX-License-Identifier: GPL-3.0-or-later
#include "SingleInstance.h"

#include <QDir>
#include <QElapsedTimer>
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

bool SingleInstance::claim(Request request)
{
    m_lock = std::make_unique<QLockFile>(m_lockPath);
    m_lock->setStaleLockTime(0); // a lock is stale only when its process is gone
    if (!m_lock->tryLock(100)) {
        if (m_lock->error() != QLockFile::LockFailedError)
            return true; // no lock possible here (a read-only runtime folder): run on our own
        // The holder may have just started and not be listening yet: ask again
        // for a few seconds, and take over if it exits meanwhile.
        QElapsedTimer waited;
        waited.start();
        do {
            QLocalSocket socket;
            socket.connectToServer(m_socketPath);
            if (socket.waitForConnected(1000)) {
                socket.write(request == Request::organize ? "organize\n" : "activate\n");
                socket.waitForBytesWritten(2000);
                socket.disconnectFromServer();
                return false;
            }
            if (m_lock->tryLock(100))
                break;
        } while (waited.elapsed() < 5000);
        // A running holder that never answered: better no second instance.
        if (!m_lock->isLocked())
            return false;
    }
    QLocalServer::removeServer(m_socketPath);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    m_server.listen(m_socketPath);
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket *socket = m_server.nextPendingConnection()) {
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                const QByteArray request = socket->readAll();
                if (request.startsWith("activate"))
                    emit activationRequested();
                else if (request.startsWith("organize"))
                    emit organizeRequested();
                socket->deleteLater();
            });
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
    return true;
}

} // namespace sorvanel
