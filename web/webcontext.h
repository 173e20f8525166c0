#pragma once

#include "command.h"
#include "hub.h"
#include "pages.h"
#include "phoneaddress.h"
#include "team.h"

#include <functional>

// What every session of the web server shares: the fan-out, the pages, where presses go, and
// the team table when team sharing is on, the addresses for a phone.
struct WebContext
{
    Hub &hub;
    const Pages &pages;
    std::function<void(Command)> commands;
    const Team *team = nullptr;
    const PhoneAddress *phone = nullptr;
};
