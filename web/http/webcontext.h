#pragma once

#include "accessrules.h"
#include "buttonbox.h"
#include "command.h"
#include "connectionlimits.h"
#include "hub.h"
#include "pages.h"
#include "pressrate.h"

#include <functional>
#include <memory>

class PhoneAddress;
class Team;

// What every session of the web server shares: the fan-out, the pages, where presses go, and
// the team table when team sharing is on, the addresses for a phone, the key buttons set up on
// the page; who may ask, and how much.
struct WebContext
{
    Hub &hub;
    const Pages &pages;
    std::function<void(Command)> commands;
    const Team *team = nullptr;
    const PhoneAddress *phone = nullptr;
    ButtonBox *buttons = nullptr;
    std::shared_ptr<const AccessRules> access = std::make_shared<const AccessRules>();
    std::shared_ptr<ConnectionLimits> connections = std::make_shared<ConnectionLimits>();
    std::shared_ptr<PressRate> pressRate = std::make_shared<PressRate>(true);
};
