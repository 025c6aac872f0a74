#include "opening/image_library.h"

#include <dlfcn.h>
#include <gmodule.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <vips/vips8>

#include "failure.h"

namespace fs = std::filesystem;

namespace {

// libvips looks for its modules below the folder in this variable, else below where it was installed.
constexpr const char* kHome = "VIPSHOME";
constexpr const char* kNoHome = "/nonexistent";

fs::path modules; // that were not loaded; empty: none

// The folder of modules beside the library itself; empty where it is not so.
fs::path ModulesOfLibrary() {
  Dl_info library = {};
  if (::dladdr(reinterpret_cast<const void*>(&vips_init), &library) == 0 || library.dli_fname == nullptr) return "";
  const std::string version = std::to_string(vips_version(0)) + "." + std::to_string(vips_version(1));
  const fs::path folder = fs::path(library.dli_fname).parent_path() / ("vips-modules-" + version);
  std::error_code ignored;
  return fs::is_directory(folder, ignored) ? folder : "";
}

} // namespace

void StartImageLibrary(const Admission& admission) {
  if (std::getenv(kHome) == nullptr) modules = ModulesOfLibrary();
  if (!modules.empty()) ::setenv(kHome, kNoHome, 1);
  const bool started = VIPS_INIT("zep3") == 0;
  if (!modules.empty()) ::unsetenv(kHome);
  if (!started) throw UsageError("libvips cannot be started");
  BlockOtherLoaders(admission);
}

void LoadModulesFor(const Format& format, const Admission& admission) {
  if (modules.empty() || g_type_from_name(std::string(format.loaderClass).c_str()) != 0) return;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(modules, error)) {
    if (entry.path().extension() != ".so") continue;
    GModule* const module = g_module_open(entry.path().c_str(), G_MODULE_BIND_LAZY);
    if (module != nullptr) g_module_make_resident(module);
  }
  modules.clear();
  BlockOtherLoaders(admission);
}
