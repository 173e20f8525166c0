#include "pages.h"

#include <QDirIterator>
#include <QFile>

namespace {
std::string contentTypeOf(const QString &name)
{
    if (name.endsWith(QLatin1String(".html")))
        return "text/html; charset=utf-8";
    if (name.endsWith(QLatin1String(".css")))
        return "text/css; charset=utf-8";
    if (name.endsWith(QLatin1String(".js")))
        return "text/javascript; charset=utf-8";
    if (name.endsWith(QLatin1String(".svg")))
        return "image/svg+xml";
    if (name.endsWith(QLatin1String(".png")))
        return "image/png";
    if (name.endsWith(QLatin1String(".webmanifest")))
        return "application/manifest+json";
    return "application/octet-stream";
}
} // namespace

Pages::Pages()
{
    // The resource lives in a static library: the linker would drop it without this reference.
    Q_INIT_RESOURCE(pages);
    QDirIterator files(QStringLiteral(":/pages"), QDir::Files);
    while (files.hasNext()) {
        QFile file(files.next());
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QString name = files.fileName();
        Page page{contentTypeOf(name), file.readAll().toStdString()};
        // The pages go by short paths: "/buttons", not "/buttons.html"; the dashboard is "/".
        if (name == QLatin1String("dashboard.html"))
            pages["/"] = page;
        else if (name.endsWith(QLatin1String(".html")))
            pages["/" + name.chopped(5).toStdString()] = page;
        pages["/" + name.toStdString()] = std::move(page);
    }
}

const Pages::Page *Pages::find(const std::string &path) const
{
    const auto found = pages.find(path);
    return found == pages.end() ? nullptr : &found->second;
}
