#include "library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

#include <thread>

namespace {

constexpr const char* kFile = "libsane.so.1";

// Where it stays: the dynamic linker has room for 16 such copies in the life of a process, and does not give back all
// of one.
void* LoadOwn() {
  static void* library = nullptr;
  if (library != nullptr) return library;
  // The copy comes with a C library of its own. Its threads are none to ours, which would leave the dynamic linker's
  // lock without atomic operations in a process that has not had a thread yet.
  std::thread([] {}).join();
  library = ::dlmopen(LM_ID_NEWLM, kFile, RTLD_LAZY | RTLD_LOCAL);
  return library;
}

// The copy's environment is that with which the process began; what has been set since counts, too.
void GiveEnvironment(void* library) {
  const auto set = reinterpret_cast<decltype(&::setenv)>(::dlsym(library, "setenv"));
  for (char** each = environ; set != nullptr && each != nullptr && *each != nullptr; each++) {
    const std::string assignment = *each;
    const size_t end = assignment.find('=');
    const bool matters = assignment.starts_with("SANE_") || assignment.starts_with("LD_LIBRARY_PATH=");
    if (matters && end != std::string::npos) set(assignment.substr(0, end).c_str(), *each + end + 1, 1);
  }
}

void* Load(SaneLibrary::Names names) {
  void* const library = names == SaneLibrary::Names::kOwn ? LoadOwn() : ::dlopen(kFile, RTLD_LAZY | RTLD_LOCAL);
  if (library != nullptr) return library;
  const char* const why = ::dlerror();
  throw ScannerFault(std::string("scanning needs libsane (Debian: libsane1): ") + (why != nullptr ? why : kFile),
                     SANE_STATUS_UNSUPPORTED);
}

} // namespace

template <typename Call>
void SaneLibrary::Find(Call& call, const char* name) {
  call = reinterpret_cast<Call>(::dlsym(m_library, name));
  if (call != nullptr) return;
  Unload();
  throw ScannerFault(std::string(kFile) + " has no " + name, SANE_STATUS_UNSUPPORTED);
}

void SaneLibrary::Unload() {
  if (m_names == Names::kShared) ::dlclose(m_library);
}

SaneLibrary::SaneLibrary(Names names) : m_names(names), m_library(Load(names)) {
  Find(getDevices, "sane_get_devices");
  Find(open, "sane_open");
  Find(close, "sane_close");
  Find(getOptionDescriptor, "sane_get_option_descriptor");
  Find(controlOption, "sane_control_option");
  Find(getParameters, "sane_get_parameters");
  Find(start, "sane_start");
  Find(read, "sane_read");
  Find(cancel, "sane_cancel");
  Find(m_init, "sane_init");
  Find(m_exit, "sane_exit");
  Find(m_strstatus, "sane_strstatus");
  if (names == Names::kOwn) GiveEnvironment(m_library);
  SANE_Int version = 0;
  const SANE_Status status = m_init(&version, nullptr);
  if (status == SANE_STATUS_GOOD && SANE_VERSION_MAJOR(version) == SANE_CURRENT_MAJOR) return;
  const std::string why = status != SANE_STATUS_GOOD ? Text(status) : "it has another version of the interface";
  Unload();
  throw ScannerFault(std::string(kFile) + ": " + why, SANE_STATUS_UNSUPPORTED);
}

SaneLibrary::~SaneLibrary() {
  m_exit();
  Unload();
}

void SaneLibrary::Check(SANE_Status status, const std::string& what) const {
  if (status != SANE_STATUS_GOOD) throw ScannerFault(what + ": " + Text(status), status);
}
