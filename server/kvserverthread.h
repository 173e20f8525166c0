#pragma once

#include <QTcpSocket>
#include <QThread>

#include <atomic>

class AppSettings;
class PublishedSession;
class WireMessage;

// One client connection. The object lives on the main thread, as a child of its kvServer;
// the socket is made in run() and lives, with the read loop and the dispatcher, on the
// connection thread.
class kvServerThread : public QThread
{
    Q_OBJECT
public:
    kvServerThread(AppSettings *settings, qintptr socketDescriptor, QObject *parent);

    void run() override;

    // Any thread: ends the event loop and cuts short any wait of the read or write path.
    void stop();
    // True once the socket has taken the descriptor; false again when run() has ended.
    bool isServing() const { return serving; }

    void ProcessMessage(const WireMessage &message);
    void WriteMessage(const QString &frame);
    // The same with the frame's UTF-8 bytes, as a built WireMessage holds them.
    void WriteMessage(const QByteArray &frame);

    AppSettings *settings;
    const qintptr socketDescriptor;
    QTcpSocket *socket = nullptr;
    QString clientName;
    PublishedSession *sessionData = nullptr;

signals:
    void error(QTcpSocket::SocketError socketerror);
    void sigDebugString(QString str, int level);
    void sigDisconnected();
    void sigButtonChatClicked(int id);
    void sigKeyboardKey(int key);

public slots:
    void readyRead();
    void disconnected();

private:
    std::atomic<bool> stopping{false};
    std::atomic<bool> serving{false};
    // Until the first bytes have shown that they are no web request or TLS handshake
    // (HttpGuard); either is closed unread.
    bool checkingFirstBytes = true;
    bool webRequest = false;
};
