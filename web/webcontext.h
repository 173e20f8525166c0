#pragma once

#include "command.h"
#include "hub.h"
#include "pages.h"
#include "team.h"

#include <functional>

// What every session of the web server shares: the fan-out, the pages, where presses go, and
// the team table when team sharing is on.
struct WebContext
{
    Hub &hub;
    const Pages &pages;
    std::function<void(Command)> commands;
    const Team *team = nullptr;
};
