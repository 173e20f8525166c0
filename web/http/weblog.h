#pragma once

#include <QLoggingCategory>

// Why a browser's connection ended early (a reset, a time-out, a request that is no HTTP): said
// once a session, at the info level, which kvbeacon-web --verbose turns on
// (or QT_LOGGING_RULES="kvbeacon.web.http.info=true").
Q_DECLARE_LOGGING_CATEGORY(webHttp)
