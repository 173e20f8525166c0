#pragma once

#include "programoutput.h"
#include "serverfixture.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <memory>

// Headless Chromium driven through chromedriver's W3C WebDriver endpoint: pages opened, scripts
// run in them, elements clicked as a user would, screenshots taken.
class WebDriver
{
public:
    // Starts chromedriver and a browser; false if either would not come up.
    bool start()
    {
        const QString port = QString::number(freePort());
        base = "http://127.0.0.1:" + port;
        if (!driver.start("/usr/bin/chromedriver", {"--port=" + port}, "started successfully"))
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
        session = call("POST", "/session", {{"capabilities", capabilities}})["sessionId"].toString();
        return !session.isEmpty();
    }
    ~WebDriver()
    {
        if (!session.isEmpty())
            call("DELETE", path(QString()));
        driver.stop();
    }

    // The page's viewport, as a phone's or a stream's would be.
    bool viewport(int width, int height)
    {
        return cdp("Emulation.setDeviceMetricsOverride",
                   {{"width", width}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", width < 600}})
            .isObject();
    }
    // A DevTools command, for what WebDriver has no word for.
    QJsonValue cdp(const QString &command, const QJsonObject &params = QJsonObject())
    {
        return call("POST", path("/goog/cdp/execute"), {{"cmd", command}, {"params", params}});
    }
    void open(const QUrl &url) { call("POST", path("/url"), {{"url", url.toString()}}); }
    // Runs `script` (a function body) in the page, `arguments` its own, and gives what it returns.
    QJsonValue run(const QString &script, const QJsonArray &arguments = QJsonArray())
    {
        return call("POST", path("/execute/sync"), {{"script", script}, {"args", arguments}});
    }
    QString text(const QString &selector)
    {
        return run("return document.querySelector(arguments[0])?.textContent ?? null;", {selector})
            .toString();
    }
    int count(const QString &selector)
    {
        return run("return document.querySelectorAll(arguments[0]).length;", {selector}).toInt();
    }
    // `expression` of each element `e` that `selector` finds, joined by commas.
    QString each(const QString &selector, const QString &expression)
    {
        return run("return [...document.querySelectorAll(arguments[0])].map(e => " + expression + ").join();",
                   {selector})
            .toString();
    }
    // A click through the browser's input pipeline, as a finger on the page.
    bool click(const QString &selector)
    {
        const QJsonObject element =
            call("POST", path("/element"), {{"using", "css selector"}, {"value", selector}}).toObject();
        return !element.isEmpty() &&
               call("POST", path("/element/" + element.begin().value().toString() + "/click")).isNull();
    }
    // The page as it shows, as `name`.png in the folder KVB_SCREENSHOTS names; nothing without one.
    bool photograph(const QString &name)
    {
        const QString folder = qEnvironmentVariable("KVB_SCREENSHOTS");
        if (folder.isEmpty())
            return true;
        const QByteArray png = QByteArray::fromBase64(call("GET", path("/screenshot")).toString().toLatin1());
        return !png.isEmpty() && writeFile(folder + "/" + name + ".png", png);
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

    ProgramOutput driver;
    QTemporaryDir profile;
    QNetworkAccessManager network;
    QString base;
    QString session;
};
