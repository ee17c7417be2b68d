#include "keyfilters.h"

namespace KeyFilters {

namespace {
constexpr bool isDigit(int code)
{
    return code >= '0' && code <= '9';
}
} // namespace

int NumericKey(int keyCode, bool signAllowed)
{
    if (keyCode == Backspace || isDigit(keyCode))
        return keyCode;
    if (signAllowed && (keyCode == '+' || keyCode == '-'))
        return keyCode;
    return 0;
}

int HexKey(int keyCode)
{
    if (keyCode == Backspace || isDigit(keyCode) || (keyCode >= 'A' && keyCode <= 'F'))
        return keyCode;
    if (keyCode >= 'a' && keyCode <= 'f')
        return keyCode - ('a' - 'A');
    return 0;
}

} // namespace KeyFilters
