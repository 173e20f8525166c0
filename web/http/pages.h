#pragma once

#include <map>
#include <string>

// The pages and their scripts, compiled into the program and read once at start: served from
// memory, nothing fetched from elsewhere at run time.
class Pages
{
public:
    struct Page
    {
        std::string contentType;
        std::string body;
    };

    Pages();
    // The page at a request's path (without its query), or null.
    const Page *find(const std::string &path) const;

private:
    std::map<std::string, Page> pages;
};
