// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>

namespace sorvanel::test {

// Serves one file: the headers and the first half at once, the rest when told.
class PausingServer : public QObject
{
public:
    explicit PausingServer(QByteArray content)
        : m_content(std::move(content))
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, this, [this] {
            m_socket = m_server.nextPendingConnection();
            QObject::connect(m_socket, &QTcpSocket::readyRead, this, [this] {
                m_request += m_socket->readAll();
                if (!m_answered && m_request.contains("\r\n\r\n")) {
                    m_answered = true;
                    m_socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: "
                                    + QByteArray::number(m_content.size()) + "\r\nConnection: close\r\n\r\n");
                    m_socket->write(m_content.left(m_content.size() / 2));
                }
            });
        });
        m_server.listen(QHostAddress::LocalHost);
    }

    QString url(const QString &name) const
    {
        return QStringLiteral("http://127.0.0.1:%1/%2").arg(m_server.serverPort()).arg(name);
    }

    void sendTheRest()
    {
        m_socket->write(m_content.mid(m_content.size() / 2));
        m_socket->disconnectFromHost();
    }

private:
    QTcpServer m_server;
    QTcpSocket *m_socket = nullptr;
    QByteArray m_request;
    QByteArray m_content;
    bool m_answered = false;
};

// Starts a real downloader fetching `url` into `folder` as `name`: curl,
// wget, aria2c, or a headless Firefox with a fresh profile in `profile`.
inline void startDownloader(QProcess &download, const QString &program, const QString &url, const QString &folder,
                            const QString &name, const QString &profile)
{
    const QString downloader = QFileInfo(program).fileName();
    if (downloader == u"curl") {
        download.start(program, {u"-s"_qs, u"-o"_qs, folder + u'/' + name, url});
    } else if (downloader == u"wget") {
        download.start(program, {u"-q"_qs, u"-O"_qs, folder + u'/' + name, url});
    } else if (downloader == u"aria2c") {
        download.start(program, {u"-q"_qs, u"--dir"_qs, folder, u"--out"_qs, name, url});
    } else {
        QFile prefs(profile + u"/user.js"_qs);
        if (!prefs.open(QIODevice::WriteOnly))
            return;
        prefs.write("user_pref(\"browser.download.folderList\", 2);\n"
                    "user_pref(\"browser.download.dir\", \""
                    + QFile::encodeName(folder)
                    + "\");\n"
                      "user_pref(\"browser.download.useDownloadDir\", true);\n"
                      "user_pref(\"browser.download.always_ask_before_handling_new_types\", false);\n"
                      "user_pref(\"browser.helperApps.neverAsk.saveToDisk\", \"application/octet-stream\");\n");
        prefs.close();
        download.start(program, {u"--headless"_qs, u"--no-remote"_qs, u"--profile"_qs, profile, url});
    }
}

} // namespace sorvanel::test
