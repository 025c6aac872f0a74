// Messages to the user, all on standard error and all beginning with the program's name.
#pragma once

#include <string>
#include <string_view>

// What a terminal or a reader of lines would not show as the text that it is: control characters, what turns the
// direction of writing, and bytes that are no UTF-8 become \xNN or \u{NNNN}.
std::string Printable(std::string_view text);

// One line, printable.
void Say(const std::string& message);

// Warnings of the image libraries: with `verbose` they are said, otherwise kept for TakeLibraryWarnings() alone. What
// ends a scan's work arrives as an exception, not here; what ends the process is said.
void RouteLibraryMessages(bool verbose);

// The first warnings since the last call, in one line.
std::string TakeLibraryWarnings();
