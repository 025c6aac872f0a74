// The calls of libsane, found when the program runs: who has no scanner needs no libsane.
#pragma once

#include <sane/sane.h>

#include <stdexcept>
#include <string>

// A fault of libsane or a device, with the device's name in front.
class ScannerFault : public std::runtime_error {
 public:
  ScannerFault(const std::string& what, SANE_Status status) : std::runtime_error(what), m_status(status) {}

  SANE_Status Status() const { return m_status; }

 private:
  SANE_Status m_status;
};

class SaneLibrary {
 public:
  enum class Names {
    kShared, // the library that the process has, or would have
    kOwn     // a copy with all that it loads, apart from the process's own: for a backend, which libsane has loaded
  };

  // Loads and starts the library. Throws ScannerFault.
  explicit SaneLibrary(Names names);
  ~SaneLibrary();
  SaneLibrary(const SaneLibrary&) = delete;
  SaneLibrary& operator=(const SaneLibrary&) = delete;

  decltype(&sane_get_devices) getDevices = nullptr;
  decltype(&sane_open) open = nullptr;
  decltype(&sane_close) close = nullptr;
  decltype(&sane_get_option_descriptor) getOptionDescriptor = nullptr;
  decltype(&sane_control_option) controlOption = nullptr;
  decltype(&sane_get_parameters) getParameters = nullptr;
  decltype(&sane_start) start = nullptr;
  decltype(&sane_read) read = nullptr;
  decltype(&sane_cancel) cancel = nullptr;

  // The library's words for a status.
  std::string Text(SANE_Status status) const { return m_strstatus(status); }
  // Throws ScannerFault unless the status is good.
  void Check(SANE_Status status, const std::string& what) const;

 private:
  template <typename Call>
  void Find(Call& call, const char* name);

  void Unload();

  Names m_names;
  void* m_library;
  decltype(&sane_init) m_init = nullptr;
  decltype(&sane_exit) m_exit = nullptr;
  decltype(&sane_strstatus) m_strstatus = nullptr;
};
