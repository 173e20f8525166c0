#pragma once

#include "basics.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <mosquitto.h>
#include <pwd.h>
#include <unistd.h>

#include <mutex>

// A real Mosquitto on loopback, TLS only, with a password file, an ACL and a CA made for the
// run: the broker a league would use, restartable on the same port.
struct Broker
{
    // The pit wall's account, which reads every car and writes none.
    static constexpr const char *user = "crew";
    static constexpr const char *password = "s3cret, pit wall";
    bool make()
    {
        const auto run = [this](const QString &program, const QStringList &arguments) {
            QProcess process;
            process.setWorkingDirectory(dir.path());
            process.start(program, arguments);
            return process.waitForFinished(20000) && process.exitCode() == 0;
        };
        const QString ec = QStringLiteral("ec:%1").arg(path("curve.pem"));
        // The drivers' accounts (the same password, for brevity), under an ACL like the README's: each
        // may write its own car's topics alone, kvbeacon/<team>/<driver>/#, and that car's discovery.
        QByteArray passwords;
        for (const char *account : {user, "ann", "bob", "cat", "dee", "mallory"})
            passwords += QByteArray(account) + ':' + password + '\n';
        QByteArray acl = "pattern read kvbeacon/#\npattern read homeassistant/#\n";
        for (const char *car :
             {"red/ann", "red/bob", "red/cat", "red/dee", "red/mallory", "wine/ann", "wine/bob"}) {
            const QList<QByteArray> names = QByteArray(car).split('/');
            acl += "user " + names[1] + "\ntopic write kvbeacon/" + car + "/#\n" +
                   "topic write homeassistant/sensor/kvbeacon_" + names[0] + '_' + names[1] + "/#\n";
        }
        QTcpServer probe, second;
        probe.listen(QHostAddress::LocalHost, 0);
        second.listen(QHostAddress::LocalHost, 0);
        port = probe.serverPort();
        certificatePort = second.serverPort();
        return run("openssl", {"ecparam", "-name", "prime256v1", "-out", "curve.pem"}) &&
               writeFile(path("san.ext"), "subjectAltName=DNS:localhost,IP:127.0.0.1\n") &&
               run("openssl", {"req", "-x509", "-newkey", ec, "-nodes", "-keyout", "ca.key", "-out", "ca.crt",
                               "-days", "2", "-subj", "/CN=kvbeacon test CA"}) &&
               run("openssl", {"req", "-newkey", ec, "-nodes", "-keyout", "server.key", "-out", "server.csr",
                               "-subj", "/CN=localhost"}) &&
               run("openssl",
                   {"x509", "-req", "-in", "server.csr", "-CA", "ca.crt", "-CAkey", "ca.key",
                    "-CAcreateserial", "-out", "server.crt", "-days", "2", "-extfile", "san.ext"}) &&
               run("openssl", {"req", "-newkey", ec, "-nodes", "-keyout", "client.key", "-out", "client.csr",
                               "-subj", "/CN=dee"}) &&
               run("openssl", {"x509", "-req", "-in", "client.csr", "-CA", "ca.crt", "-CAkey", "ca.key",
                               "-CAcreateserial", "-out", "client.crt", "-days", "2"}) &&
               writeFile(path("passwords"), passwords) && run("mosquitto_passwd", {"-U", "passwords"}) &&
               writeFile(path("acl"), acl) &&
               writeFile(
                   path("mosquitto.conf"),
                   QStringLiteral(
                       "user %1\nlog_dest stderr\nlog_type error\nallow_anonymous false\npassword_file %2\n"
                       "acl_file %3\nmax_packet_size 65536\n"
                       "listener %4 127.0.0.1\ncafile %5\ncertfile %6\nkeyfile %7\n"
                       // The second listener knows its clients by their certificates alone.
                       "listener %8 127.0.0.1\ncafile %5\ncertfile %6\nkeyfile %7\n"
                       "require_certificate true\nuse_identity_as_username true\n")
                       .arg(QString::fromLocal8Bit(getpwuid(getuid())->pw_name), path("passwords"),
                            path("acl"), QString::number(port), path("ca.crt"), path("server.crt"),
                            path("server.key"), QString::number(certificatePort))
                       .toUtf8());
    }
    bool start()
    {
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QStringLiteral("mosquitto"), {"-c", path("mosquitto.conf")});
        const auto listening = [this] {
            QTcpSocket probe;
            probe.connectToHost(QHostAddress::LocalHost, port);
            return probe.waitForConnected(200);
        };
        return process.waitForStarted() && QTest::qWaitFor(listening, 10000);
    }
    void stop()
    {
        process.kill();
        process.waitForFinished();
    }
    QString path(const char *name) const { return dir.filePath(QLatin1String(name)); }
    QString url(const QString &account = QLatin1String(user)) const
    {
        return QStringLiteral("mqtts://%1:%2@localhost:%3")
            .arg(account, QString::fromLatin1(QUrl::toPercentEncoding(password)), QString::number(port));
    }

    QTemporaryDir dir;
    QProcess process;
    quint16 port = 0, certificatePort = 0;
};

// A client of the broker in the test, as a teammate's or a league's program would be: keeps
// every message it gets and publishes what the test hands it.
struct Client
{
    explicit Client(const Broker &broker, const char *account = Broker::user)
    {
        mosquitto_lib_init();
        client = mosquitto_new(nullptr, true, this);
        mosquitto_tls_set(client, broker.path("ca.crt").toLocal8Bit().constData(), nullptr, nullptr, nullptr,
                          nullptr);
        mosquitto_username_pw_set(client, account, Broker::password);
        mosquitto_message_callback_set(client, [](mosquitto *, void *self, const mosquitto_message *message) {
            auto *me = static_cast<Client *>(self);
            const QString topic = QString::fromUtf8(message->topic);
            const QByteArray payload(static_cast<const char *>(message->payload), message->payloadlen);
            std::lock_guard<std::mutex> lock(me->mutex);
            me->messages[topic].append(payload);
            if (message->retain)
                me->kept[topic].append(payload);
        });
        mosquitto_connect_callback_set(client, [](mosquitto *, void *self, int result) {
            static_cast<Client *>(self)->connected = result == 0;
        });
        mosquitto_connect_async(client, "localhost", broker.port, 20);
        mosquitto_loop_start(client);
    }
    ~Client()
    {
        mosquitto_disconnect(client);
        mosquitto_loop_stop(client, false);
        mosquitto_destroy(client);
    }
    bool subscribe(const char *filter)
    {
        return QTest::qWaitFor([this] { return connected.load(); }, 10000) &&
               mosquitto_subscribe(client, nullptr, filter, 1) == MOSQ_ERR_SUCCESS;
    }
    void publish(const QString &topic, const QByteArray &payload, bool retain = false)
    {
        mosquitto_publish(client, nullptr, topic.toUtf8().constData(), payload.size(), payload.constData(), 1,
                          retain);
    }
    QList<QByteArray> of(const QString &topic)
    {
        std::lock_guard<std::mutex> lock(mutex);
        return messages.value(topic);
    }
    // The last payload on the topic, or of those the broker kept and handed over at subscribing; or empty.
    QByteArray last(const QString &topic, bool retained = false)
    {
        std::lock_guard<std::mutex> lock(mutex);
        const QList<QByteArray> found = (retained ? kept : messages).value(topic);
        return found.isEmpty() ? QByteArray() : found.last();
    }

    mosquitto *client = nullptr;
    std::atomic<bool> connected{false};
    std::mutex mutex;
    QHash<QString, QList<QByteArray>> messages;
    QHash<QString, QList<QByteArray>> kept;
};
