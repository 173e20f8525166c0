#pragma once

#include "webcontext.h"

#include <string>
#include <string_view>

// What kvbeacon-web answers to a plain HTTP request: one small function for each path of the
// table, free of the sessions' I/O so that the answers can be read without a socket.
namespace Routes {
enum class Method { Get, Head, Put, Other };

struct Request
{
    Method method = Method::Get;
    std::string path; // without the query
    std::string_view host;
    std::string_view origin;
    std::string_view contentType;
    std::string_view body;
};

struct Answer
{
    unsigned status = 200;
    std::string contentType;
    std::string body;
    // For a method the path does not take, the methods it does.
    std::string allow;
};

Answer answer(const Request &request, const WebContext &context);
} // namespace Routes
