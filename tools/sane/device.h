// A scanner that is open, and its options by name.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "library.h"

class Device {
 public:
  // Throws ScannerFault.
  Device(const SaneLibrary& sane, const std::string& name);
  ~Device() { m_sane.close(m_handle); }
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  const SaneLibrary& Sane() const { return m_sane; }
  SANE_Handle Handle() const { return m_handle; }
  const std::string& Name() const { return m_name; }

  // Ends a scan. Backends are not made for two calls at a time: one that is under way elsewhere is waited for.
  void Cancel() const;
  // From a signal's handler or another thread: a scan that is being ended already is left to that, and it is false.
  bool CancelFromOutside() const;

  // As libsane lists it, such as "flatbed scanner"; empty: it does not. The first call takes seconds where there are
  // many backends; scanners of networks are not looked for.
  const std::string& Type() const;

  // The number of an option that is there and active; 0: none.
  SANE_Int Active(const std::string& option) const;
  // One that can be set, too.
  SANE_Int Settable(const std::string& option) const;
  const SANE_Option_Descriptor* Descriptor(SANE_Int option) const {
    return m_sane.getOptionDescriptor(m_handle, option);
  }
  // Names of all options that can be set now.
  std::vector<std::string> SettableNames() const;

  // The values of an option of numbers; none where it cannot be read.
  std::vector<SANE_Word> Words(SANE_Int option) const;
  // A single number, with fractions where the option has some, and a text; nothing where there is no such option now.
  std::optional<double> Number(const std::string& option) const;
  std::optional<std::string> Text(const std::string& option) const;

  // Throw ScannerFault that names device and option.
  void SetWords(SANE_Int option, std::vector<SANE_Word> words);
  void SetNumber(const std::string& option, double value);
  // By the option's type: yes and no, whole numbers, numbers, words, lists of numbers; for a button, whatever.
  void SetText(const std::string& option, const std::string& value);

  // What can be restored, of any type.
  std::vector<unsigned char> Bytes(SANE_Int option) const;
  void SetBytes(SANE_Int option, std::vector<unsigned char> bytes);

  // Throws ScannerFault unless the status is good.
  void Check(SANE_Status status, const std::string& what = "") const {
    m_sane.Check(status, m_name + (what.empty() ? "" : ": " + what));
  }
  [[noreturn]] void Refuse(const std::string& what) const {
    throw ScannerFault(m_name + ": " + what, SANE_STATUS_INVAL);
  }

 private:
  SANE_Int Expect(const std::string& option) const;
  SANE_Int Count() const;

  const SaneLibrary& m_sane;
  std::string m_name;
  SANE_Handle m_handle = nullptr;
  mutable std::atomic_flag m_cancelling;
  mutable std::optional<std::string> m_type;
};

// Names, with what libsane knows of each. Throws ScannerFault.
struct DeviceName {
  std::string name, vendor, model, type;
};
std::vector<DeviceName> ListDevices(const SaneLibrary& sane, bool localOnly);

// A number with a point, whatever the user's language; the whole text, or nothing.
std::optional<double> ParseNumber(std::string_view text);

// The words, or the range, that an option takes, as it is told; empty: anything.
std::string AllowedText(const SANE_Option_Descriptor& option);
