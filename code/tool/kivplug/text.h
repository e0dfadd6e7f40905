// Texts for a terminal.

#ifndef KIVPLUG_TEXT_H
#define KIVPLUG_TEXT_H

#include <string>
#include <vector>

namespace kivplug {

// text on one line: control characters, which a description file or a file's name may
// well contain, and bytes that are no UTF-8 are shown as \n, \t or \xNN instead of being
// sent to the terminal.
std::string printable(std::string const& text);

// printable, between single quotes.
std::string quoted(std::string const& text);

// One line for each row with the columns aligned, `gap` spaces apart. Cells are made
// printable; no line ends in spaces. Every row has at least one cell.
std::string table(std::vector<std::vector<std::string>> const& rows, std::size_t gap);

}  // namespace kivplug

#endif
