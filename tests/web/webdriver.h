#pragma once

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpServer>
#include <QtTest>

#include <memory>

// Headless Chromium driven through chromedriver's W3C WebDriver endpoint: pages opened, scripts
// run in them, elements clicked as a user would, screenshots taken.
class WebDriver
{
public:
    // Starts chromedriver and a browser; false if either would not come up.
    bool start()
    {
        QTcpServer probe; // a free port for chromedriver
        probe.listen(QHostAddress::LocalHost, 0);
        base = QStringLiteral("http://127.0.0.1:%1").arg(probe.serverPort());
        const QStringList arguments{QStringLiteral("--port=%1").arg(probe.serverPort())};
        probe.close();
        driver.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        driver.start(QStringLiteral("/usr/bin/chromedriver"), arguments);
        if (!driver.waitForStarted() ||
            !QTest::qWaitFor(
                [&] { return call("GET", QStringLiteral("/status")).toObject().value("ready").toBool(); },
                10000))
            return false;
        // The flags keep Chromium off the network it has no business with, on a machine
        // without a GPU, as root in a sandbox of its own.
        const QJsonArray flags{"--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                               "--no-first-run", "--disable-background-networking",
                               "--disable-component-update", "--disable-sync", "--hide-scrollbars",
                               // A name that is not loopback's own: a page there is no secure
                               // context, as on a phone that opens a LAN address.
                               "--host-resolver-rules=MAP phone.test 127.0.0.1", "--window-size=1280,900",
                               "--user-data-dir=" + profile.path()};
        const QJsonObject options{{"binary", "/usr/bin/chromium"}, {"args", flags}};
        const QJsonObject capabilities{{"alwaysMatch", QJsonObject{{"goog:chromeOptions", options}}}};
        session = call("POST", QStringLiteral("/session"), {{"capabilities", capabilities}})
                      .toObject()
                      .value("sessionId")
                      .toString();
        return !session.isEmpty();
    }
    ~WebDriver()
    {
        if (!session.isEmpty())
            call("DELETE", path(QString()));
        driver.kill();
        driver.waitForFinished();
    }

    // The page's viewport, as a phone's or a stream's would be.
    bool viewport(int width, int height)
    {
        const QJsonObject metrics{
            {"width", width}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", width < 600}};
        return cdp("Emulation.setDeviceMetricsOverride", metrics).isObject();
    }
    // A DevTools command, for what WebDriver has no word for.
    QJsonValue cdp(const QString &command, const QJsonObject &params = QJsonObject())
    {
        return call("POST", path("/goog/cdp/execute"), {{"cmd", command}, {"params", params}});
    }
    void open(const QUrl &url) { call("POST", path("/url"), {{"url", url.toString()}}); }
    // Runs `script` (a function body) in the page and gives what it returns.
    QJsonValue run(const QString &script)
    {
        return call("POST", path("/execute/sync"), {{"script", script}, {"args", QJsonArray()}});
    }
    QString text(const QString &selector)
    {
        return run(QStringLiteral("const e = document.querySelector(%1); return e ? e.textContent : null;")
                       .arg(quoted(selector)))
            .toString();
    }
    int count(const QString &selector)
    {
        return run(QStringLiteral("return document.querySelectorAll(%1).length;").arg(quoted(selector)))
            .toInt();
    }
    // A click through the browser's input pipeline, as a finger on the page.
    bool click(const QString &selector)
    {
        const QJsonObject element =
            call("POST", path("/element"), {{"using", "css selector"}, {"value", selector}}).toObject();
        if (element.isEmpty())
            return false;
        const QString id = element.begin().value().toString();
        return call("POST", path("/element/" + id + "/click"), QJsonObject()).isNull();
    }
    bool screenshot(const QString &file)
    {
        const QByteArray png = QByteArray::fromBase64(call("GET", path("/screenshot")).toString().toLatin1());
        QFile out(file);
        return !png.isEmpty() && out.open(QIODevice::WriteOnly) && out.write(png) == png.size();
    }

    static QString quoted(const QString &text)
    {
        return QString::fromUtf8(QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact))
            .mid(1)
            .chopped(1);
    }

private:
    QString path(const QString &rest) const { return "/session/" + session + rest; }

    // The "value" member of the answer; an error's value is an object with "error".
    QJsonValue call(const QByteArray &verb, const QString &where, const QJsonObject &body = QJsonObject())
    {
        QNetworkRequest request(QUrl(base + where));
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/json"));
        const QByteArray bytes =
            verb == "GET" || verb == "DELETE" ? QByteArray() : QJsonDocument(body).toJson();
        std::unique_ptr<QNetworkReply> reply(network.sendCustomRequest(request, verb, bytes));
        QSignalSpy done(reply.get(), &QNetworkReply::finished);
        if (!done.wait(30000))
            return QJsonValue();
        const QJsonValue value = QJsonDocument::fromJson(reply->readAll()).object().value("value");
        if (value.toObject().contains("error"))
            qWarning("webdriver %s %s: %s", verb.constData(), qPrintable(where),
                     qPrintable(value.toObject().value("message").toString().left(300)));
        return value;
    }

    QProcess driver;
    QTemporaryDir profile;
    QNetworkAccessManager network;
    QString base;
    QString session;
};
