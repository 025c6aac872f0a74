// What belongs to which of the commands: zep3 analyse, zep3 compare, zep3 tables; for the help and for shells.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

// The words that an option takes, in the order in which they are told; none where it takes anything.
std::vector<std::string> WordsOf(const std::string& option);

// The help of the command that was given, with the options that mean something to it; without one, of all. Options of
// others are gone from `app` afterwards, and so they are for:
std::string HelpText(CLI::App& app, const std::string& kinds);

// What a shell may offer behind `word`, a line each, with a tab and an explanation where there is one: the words of an
// option; nothing behind other options with a value; otherwise options and, where none was given, commands.
std::string WordsAfter(CLI::App& app, const std::string& word);
