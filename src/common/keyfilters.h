#pragma once

// Keystroke filters for text boxes that take decimal or hexadecimal input. They work on
// character codes and return the code to let through, or 0 to swallow the key.
namespace KeyFilters {

constexpr int Backspace = 8;

// Backspace and the digits pass; "+" and "-" pass only when signAllowed; anything else is 0.
int NumericKey(int keyCode, bool signAllowed);

// Backspace, the digits and "A".."F" pass; "a".."f" pass as upper case; anything else is 0.
int HexKey(int keyCode);

} // namespace KeyFilters
