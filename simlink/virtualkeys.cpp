#include "virtualkeys.h"

#define XK_MISCELLANY
#define XK_LATIN1
#include <X11/keysymdef.h>

std::uint32_t keysymOfVirtualKey(std::uint16_t vk)
{
    if (vk >= 0x41 && vk <= 0x5A) // A to Z: the keys carry the lower-case symbol
        return XK_a + (vk - 0x41);
    if (vk >= 0x30 && vk <= 0x39)
        return XK_0 + (vk - 0x30);
    if (vk >= 0x70 && vk <= 0x87) // F1 to F24
        return XK_F1 + (vk - 0x70);
    if (vk >= 0x60 && vk <= 0x69) // the numeric keypad's digits
        return XK_KP_0 + (vk - 0x60);
    switch (vk) {
    case 0x08:
        return XK_BackSpace;
    case 0x09:
        return XK_Tab;
    case 0x0D:
        return XK_Return;
    case 0x10:
        return XK_Shift_L;
    case 0x11:
        return XK_Control_L;
    case 0x12:
        return XK_Alt_L;
    case 0x13:
        return XK_Pause;
    case 0x14:
        return XK_Caps_Lock;
    case 0x1B:
        return XK_Escape;
    case 0x20:
        return XK_space;
    case 0x21:
        return XK_Page_Up;
    case 0x22:
        return XK_Page_Down;
    case 0x23:
        return XK_End;
    case 0x24:
        return XK_Home;
    case 0x25:
        return XK_Left;
    case 0x26:
        return XK_Up;
    case 0x27:
        return XK_Right;
    case 0x28:
        return XK_Down;
    case 0x2D:
        return XK_Insert;
    case 0x2E:
        return XK_Delete;
    case 0x6A:
        return XK_KP_Multiply;
    case 0x6B:
        return XK_KP_Add;
    case 0x6C:
        return XK_KP_Separator;
    case 0x6D:
        return XK_KP_Subtract;
    case 0x6E:
        return XK_KP_Decimal;
    case 0x6F:
        return XK_KP_Divide;
    case 0xBA:
        return XK_semicolon;
    case 0xBB:
        return XK_equal;
    case 0xBC:
        return XK_comma;
    case 0xBD:
        return XK_minus;
    case 0xBE:
        return XK_period;
    case 0xBF:
        return XK_slash;
    case 0xC0:
        return XK_grave;
    case 0xDB:
        return XK_bracketleft;
    case 0xDC:
        return XK_backslash;
    case 0xDD:
        return XK_bracketright;
    case 0xDE:
        return XK_apostrophe;
    default:
        return 0;
    }
}
