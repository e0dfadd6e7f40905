// Texts for a terminal.

#ifndef KIVPLUG_TEXT_H
#define KIVPLUG_TEXT_H

#include <string>
#include <vector>

namespace kivplug {

// Whether a character is a command to a terminal, ends a line or changes the direction of
// the text after it.
bool is_control(unsigned long code);

// text on one line: control characters, which a description file or a file's name may
// well contain, and bytes that are not UTF-8 are shown as \n, \t or \xNN instead of being
// sent to the terminal.
std::string printable(std::string const& text);

// The pieces of text between separators; after the last separator only when something is
// there. (A stream would take a lack of memory for the text's end.)
std::vector<std::string> split(std::string const& text, char separator);

// printable, between single quotes.
std::string quoted(std::string const& text);

// One line for each row with the columns aligned, `gap` spaces apart. Cells are made
// printable; no line ends in spaces. Every row has at least one cell.
std::string table(std::vector<std::vector<std::string>> cells, std::size_t gap);

}  // namespace kivplug

#endif
