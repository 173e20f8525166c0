#pragma once

#include "command.h"
#include "hub.h"
#include "pages.h"

#include <functional>

// What every session of the web server shares: the fan-out, the pages, and where presses go.
struct WebContext
{
    Hub &hub;
    const Pages &pages;
    std::function<void(Command)> commands;
};
