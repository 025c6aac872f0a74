// Messages to the user, all on standard error and all beginning with the program's name.
#pragma once

#include <functional>
#include <string>
#include <string_view>

// Makes a text safe for terminals and readers of lines: control characters, marks that turn the direction of writing,
// and bytes that are no UTF-8 become \xNN or \u{NNNN}.
std::string Printable(std::string_view text);

// One line, printable.
void Say(const std::string& message);

// How much of a result is written.
void SayPercent(int percent);

// What a worker process tells its parent, which alone writes to the terminal.
enum class Told { kMessage, kPercent };
using Listener = std::function<void(Told what, const std::string& text)>;
// From now on messages and percentages go there; the listener is called by any thread.
void SendMessagesTo(Listener listener);

// Takes the warnings of the image libraries: says them with `verbose`, otherwise keeps them for TakeLibraryWarnings().
// A message that ends the process is always said; errors that end a scan's work arrive as exceptions.
void RouteLibraryMessages(bool verbose);

// Drops the warnings that libraries give while it lives: of what is stopped on purpose. One at a time.
class WithoutLibraryWarnings {
 public:
  WithoutLibraryWarnings();
  ~WithoutLibraryWarnings();
  WithoutLibraryWarnings(const WithoutLibraryWarnings&) = delete;
  WithoutLibraryWarnings& operator=(const WithoutLibraryWarnings&) = delete;
};

// The first warnings since the last call, in one line.
std::string TakeLibraryWarnings();
