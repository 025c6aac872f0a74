// The options that settle what becomes of a scan, by the groups of the help.
#pragma once

#include "command/option_group.h"
#include "options.h"

inline constexpr const char* kResultHeading = "Result";
inline constexpr const char* kAreaHeading = "Analysis area, pipettes, encoding";

// Whether options are refused without those that give them a meaning, or mean nothing then.
enum class Strictness { kStrict, kLenient };

CLI::Option* AddFormat(CLI::App& app, Options& options, Settings& settings);
CLI::Option* AddStrip(CLI::App& app, Options& options, Settings& settings);
void AddOriginal(CLI::App& app, Options& options, Settings& settings);
void AddAreaAndScales(CLI::App& app, Options& options, Settings& settings);
void AddPages(CLI::App& app, Options& options, Settings& settings);
void AddCrop(CLI::App& app, Options& options, Settings& settings, Strictness strictness);

// Stops as the record's numbers, once all options are read.
void TakeStops(UserOptions& user);

// Those that were given.
SettingLayer LayerOf(const Settings& settings, const std::string& from);
// The same as words to be said again, in Options::given and Options::givenForm.
void TakeWordsGiven(const Settings& settings, Options& options);

// All of them.
void AddSettings(CLI::App& app, Options& options, Settings& settings, Strictness strictness);
