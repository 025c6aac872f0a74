#include "device.h"

#include <strings.h>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <thread>

namespace {

double Unscaled(const SANE_Option_Descriptor& option, SANE_Word word) {
  return option.type == SANE_TYPE_FIXED ? SANE_UNFIX(word) : static_cast<double>(word);
}

std::string NumberText(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", value);
  return text;
}

SANE_Word Scaled(const SANE_Option_Descriptor& option, double value) {
  const double scale = option.type == SANE_TYPE_FIXED ? 1 << SANE_FIXED_SCALE_SHIFT : 1;
  return static_cast<SANE_Word>(std::llround(std::clamp(value * scale, -2147483648.0, 2147483647.0)));
}

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == ',') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

bool IsNumbers(const SANE_Option_Descriptor& option) {
  return option.type == SANE_TYPE_BOOL || option.type == SANE_TYPE_INT || option.type == SANE_TYPE_FIXED;
}

// The word of the option's list that is meant: letters count alike, and a beginning is enough where it is of one alone.
std::optional<std::string> WordMeant(const SANE_Option_Descriptor& option, const std::string& value) {
  std::vector<std::string> begun;
  for (const SANE_String_Const* word = option.constraint.string_list; *word != nullptr; word++) {
    if (::strcasecmp(*word, value.c_str()) == 0) return *word;
    if (::strncasecmp(*word, value.c_str(), value.size()) == 0) begun.emplace_back(*word);
  }
  if (begun.size() == 1) return begun.front();
  return std::nullopt;
}

} // namespace

std::optional<double> ParseNumber(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::string AllowedText(const SANE_Option_Descriptor& option) {
  std::string text;
  if (option.constraint_type == SANE_CONSTRAINT_STRING_LIST) {
    for (const SANE_String_Const* word = option.constraint.string_list; *word != nullptr; word++)
      text += (text.empty() ? "" : ", ") + std::string(*word);
  } else if (option.constraint_type == SANE_CONSTRAINT_WORD_LIST) {
    for (SANE_Word i = 1; i <= option.constraint.word_list[0]; i++)
      text += (text.empty() ? "" : ", ") + NumberText(Unscaled(option, option.constraint.word_list[i]));
  } else if (option.constraint_type == SANE_CONSTRAINT_RANGE) {
    text = NumberText(Unscaled(option, option.constraint.range->min)) + " to " +
           NumberText(Unscaled(option, option.constraint.range->max));
  } else if (option.type == SANE_TYPE_BOOL) {
    text = "yes or no";
  }
  return text;
}

std::vector<DeviceName> ListDevices(const SaneLibrary& sane, bool localOnly) {
  const SANE_Device** list = nullptr;
  sane.Check(sane.getDevices(&list, localOnly ? SANE_TRUE : SANE_FALSE), "the list of scanners");
  std::vector<DeviceName> names;
  for (; list != nullptr && *list != nullptr; list++)
    names.push_back({(*list)->name, (*list)->vendor, (*list)->model, (*list)->type});
  return names;
}

Device::Device(const SaneLibrary& sane, const std::string& name) : m_sane(sane), m_name(name) {
  Check(m_sane.open(name.c_str(), &m_handle));
}

void Device::Cancel() const {
  while (!CancelFromOutside()) std::this_thread::yield();
}

bool Device::CancelFromOutside() const {
  if (m_cancelling.test_and_set()) return false;
  m_sane.cancel(m_handle);
  m_cancelling.clear();
  return true;
}

const std::string& Device::Type() const {
  if (m_type) return *m_type;
  m_type = "";
  try {
    for (const DeviceName& each : ListDevices(m_sane, true)) {
      if (each.name == m_name) m_type = each.type;
    }
  } catch (const ScannerFault&) { // then it is not known what it is
  }
  return *m_type;
}

SANE_Int Device::Count() const {
  SANE_Int count = 0;
  return m_sane.controlOption(m_handle, 0, SANE_ACTION_GET_VALUE, &count, nullptr) == SANE_STATUS_GOOD ? count : 0;
}

SANE_Int Device::Active(const std::string& option) const {
  const SANE_Int count = Count();
  for (SANE_Int i = 1; i < count; i++) {
    const SANE_Option_Descriptor* const descriptor = Descriptor(i);
    if (descriptor == nullptr || descriptor->name == nullptr || descriptor->type == SANE_TYPE_GROUP) continue;
    if (option == descriptor->name && SANE_OPTION_IS_ACTIVE(descriptor->cap)) return i;
  }
  return 0;
}

SANE_Int Device::Settable(const std::string& option) const {
  const SANE_Int number = Active(option);
  return number != 0 && SANE_OPTION_IS_SETTABLE(Descriptor(number)->cap) ? number : 0;
}

std::vector<std::string> Device::SettableNames() const {
  std::vector<std::string> names;
  const SANE_Int count = Count();
  for (SANE_Int i = 1; i < count; i++) {
    const SANE_Option_Descriptor* const option = Descriptor(i);
    if (option == nullptr || option->name == nullptr || *option->name == '\0') continue;
    if (Settable(option->name) == i) names.emplace_back(option->name);
  }
  return names;
}

std::vector<unsigned char> Device::Bytes(SANE_Int option) const {
  const SANE_Option_Descriptor* const descriptor = Descriptor(option);
  if (descriptor == nullptr || descriptor->size <= 0) return {};
  std::vector<unsigned char> bytes(static_cast<size_t>(descriptor->size) + 1);
  if (m_sane.controlOption(m_handle, option, SANE_ACTION_GET_VALUE, bytes.data(), nullptr) != SANE_STATUS_GOOD)
    return {};
  bytes.pop_back(); // which ends a text whatever the backend does
  return bytes;
}

std::vector<SANE_Word> Device::Words(SANE_Int option) const {
  const SANE_Option_Descriptor* const descriptor = Descriptor(option);
  if (descriptor == nullptr || !IsNumbers(*descriptor)) return {};
  const std::vector<unsigned char> bytes = Bytes(option);
  std::vector<SANE_Word> words(bytes.size() / sizeof(SANE_Word));
  if (!words.empty()) std::memcpy(words.data(), bytes.data(), words.size() * sizeof(SANE_Word));
  return words;
}

std::optional<double> Device::Number(const std::string& option) const {
  const SANE_Int number = Active(option);
  if (number == 0) return std::nullopt;
  const std::vector<SANE_Word> words = Words(number);
  if (words.size() != 1) return std::nullopt;
  return Unscaled(*Descriptor(number), words[0]);
}

std::optional<std::string> Device::Text(const std::string& option) const {
  const SANE_Int number = Active(option);
  if (number == 0 || Descriptor(number)->type != SANE_TYPE_STRING) return std::nullopt;
  const std::vector<unsigned char> bytes = Bytes(number);
  return std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), '\0'));
}

SANE_Int Device::Expect(const std::string& option) const {
  const SANE_Int number = Settable(option);
  if (number != 0) return number;
  std::string names;
  for (const std::string& name : SettableNames()) names += (names.empty() ? "" : ", ") + name;
  Refuse("there is no option " + option + " that can be set now; there are " + (names.empty() ? "none" : names));
}

void Device::SetBytes(SANE_Int option, std::vector<unsigned char> bytes) {
  Check(m_sane.controlOption(m_handle, option, SANE_ACTION_SET_VALUE, bytes.data(), nullptr), Descriptor(option)->name);
}

void Device::SetWords(SANE_Int option, std::vector<SANE_Word> words) {
  std::vector<unsigned char> bytes(words.size() * sizeof(SANE_Word));
  if (!bytes.empty()) std::memcpy(bytes.data(), words.data(), bytes.size());
  SetBytes(option, std::move(bytes));
}

void Device::SetNumber(const std::string& option, double value) {
  const SANE_Int number = Expect(option);
  SetWords(number, {Scaled(*Descriptor(number), value)});
}

void Device::SetText(const std::string& name, const std::string& value) {
  const SANE_Int number = Expect(name);
  const SANE_Option_Descriptor& option = *Descriptor(number);
  const auto refuse = [&] {
    const std::string allowed = AllowedText(option);
    Refuse(name + ": '" + value + "'" + (allowed.empty() ? " is no value for it" : " is none of " + allowed));
  };
  if (option.type == SANE_TYPE_BUTTON) return SetWords(number, {0});
  if (option.type == SANE_TYPE_BOOL) {
    const bool yes = value == "yes" || value == "true" || value == "1" || value == "on";
    const bool no = value == "no" || value == "false" || value == "0" || value == "off";
    if (!yes && !no) refuse();
    return SetWords(number, {yes ? SANE_TRUE : SANE_FALSE});
  }
  if (option.type == SANE_TYPE_STRING) {
    std::string word = value;
    if (option.constraint_type == SANE_CONSTRAINT_STRING_LIST) {
      const std::optional<std::string> meant = WordMeant(option, value);
      if (!meant) refuse();
      word = *meant;
    }
    if (word.size() >= static_cast<size_t>(option.size)) refuse();
    std::vector<unsigned char> bytes(word.begin(), word.end());
    bytes.resize(static_cast<size_t>(option.size));
    return SetBytes(number, std::move(bytes));
  }
  const std::vector<std::string> parts = Split(value);
  if (parts.size() * sizeof(SANE_Word) != static_cast<size_t>(option.size))
    Refuse(name + ": takes " + std::to_string(static_cast<size_t>(option.size) / sizeof(SANE_Word)) + " numbers, not " +
           std::to_string(parts.size()));
  std::vector<SANE_Word> words;
  for (const std::string& part : parts) {
    const std::optional<double> parsed = ParseNumber(part);
    if (!parsed) refuse();
    words.push_back(Scaled(option, *parsed));
    const bool hasRange = option.constraint_type == SANE_CONSTRAINT_RANGE;
    if (hasRange && (words.back() < option.constraint.range->min || words.back() > option.constraint.range->max))
      refuse();
  }
  SetWords(number, std::move(words));
}
