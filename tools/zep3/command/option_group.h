// Options of CLI11 under one heading of the help. Those that settle what becomes of a scan are kept in a list, by which
// files and lists give them, too, and results are compared.
#pragma once

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "command/arguments.h"
#include "command/verb_help.h"
#include "did_you_mean.h"
#include "failure.h"

// An option that settles what becomes of a scan.
struct Setting {
  CLI::Option* option;
  // Its value in the one form that stands for it, however it was given; empty where it is another option's.
  std::function<std::string()> text;

  std::string Name() const { return option->get_name().substr(2); } // without dashes
  bool IsFlag() const { return option->get_expected_max() == 0; }
};
using Settings = std::vector<Setting>;

class Group {
 public:
  // `settings`: takes the group's options; null: they settle nothing.
  Group(CLI::App& app, const char* heading, Settings* settings = nullptr)
      : m_app(app), m_heading(heading), m_settings(settings) {}

  template <typename T>
  CLI::Option* Add(const std::string& name, T& target, const std::string& form, const std::string& help) {
    return Register(m_app.add_option(name, target, help)->type_name(form), TextIn(target));
  }
  // `text`: see Setting; without it, what was given.
  template <typename Take>
  CLI::Option* AddText(const std::string& name, const std::string& form, const std::string& help, Take take,
                       std::function<std::string()> text = nullptr) {
    auto* option = m_app.add_option_function<std::string>(name, take, help)->type_name(form);
    if (!text) text = [option] { return option->count() > 0 ? option->results().back() : std::string(); };
    return Register(option, text);
  }
  CLI::Option* AddFlag(const std::string& name, bool& target, const std::string& help) {
    return Register(m_app.add_flag(name, target, help), TextIn(target));
  }
  CLI::Option* AddSwitch(const std::string& name, std::optional<bool>& target, const std::string& help) {
    return Register(m_app.add_flag(name, target, help), TextIn(target));
  }

  // The text of a value; nothing for what is no setting.
  template <typename T>
  static std::function<std::string()> TextIn(const T& target) {
    if constexpr (requires { TextOf(target); }) {
      return [&target] { return TextOf(target); };
    } else {
      return [] { return std::string(); };
    }
  }
  // Without a description: the help says what is allowed in its own words.
  static CLI::Validator OneOfWords(const std::string& option) {
    const auto fault = [words = WordsOf(option)](const std::string& typed) {
      return std::find(words.begin(), words.end(), typed) != words.end() ? "" : ExpectedOneOf(typed, words);
    };
    return CLI::Validator(fault, "");
  }

 private:
  CLI::Option* Register(CLI::Option* option, std::function<std::string()> text) {
    if (m_settings != nullptr) m_settings->push_back({option, std::move(text)});
    return option->group(m_heading);
  }

  CLI::App& m_app;
  const char* m_heading;
  Settings* m_settings;
};

// An option with a parser of its own. Its faults become CLI11's, so that all are reported alike.
template <typename T, typename Parse>
CLI::Option* AddParsed(Group& group, const std::string& name, T& target, Parse parse, const std::string& form,
                       const std::string& help) {
  return group.AddText(
      name, form, help,
      [&target, parse, name](const std::string& text) {
        try {
          target = parse(text);
        } catch (const UsageError& error) {
          throw CLI::ValidationError(name, error.what());
        }
      },
      Group::TextIn(target));
}

template <typename T>
CLI::Option* AddRange(Group& group, const std::string& name, T& target, int low, int high, const std::string& help) {
  const auto parse = [low, high](const std::string& text) { return ParseWhole(text, low, high); };
  return AddParsed(group, name, target, parse, "N", help);
}
