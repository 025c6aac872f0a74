#include "command/view.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "command/folder_search.h"
#include "failure.h"
#include "files/formats.h"
#include "files/output.h"
#include "interrupt.h"
#include "log.h"
#include "told/html.h"
#include "told/report_place.h"

#ifdef ZEP3_HAS_VIEW
#include "viewing/page_server.h"
#endif

namespace fs = std::filesystem;

#ifdef ZEP3_HAS_VIEW
namespace {

// Where the page is installed, or built, as seen from the program; or as the environment says.
fs::path PageFolder() {
  if (const char* set = std::getenv("ZEP3_WEB")) return set;
  const fs::path program = fs::read_symlink("/proc/self/exe").parent_path();
  for (const char* place : {"../share/zep3/web", "../../web/dist"}) {
    if (fs::exists(program / place / "index.html")) return program / place;
  }
  throw Failure("the page is not installed: build it with scripts/web.sh, or install the package zep3-web");
}

void AddFolder(const fs::path& folder, bool recursive, ViewedScans& viewed) {
  const size_t first = viewed.scans.size();
  FolderSearch search;
  search.enters = [&](const fs::path&) { return recursive; };
  search.found = [&](const fs::path& file, const std::string& originalOf) {
    if (originalOf.empty() && AnyFormatOfName(file.string()) != nullptr) viewed.scans.push_back(file);
  };
  search.unreadable = [](const fs::path& below, const std::string& reason) { Say(below.string() + ": " + reason); };
  SearchFolder(folder, search);
  std::sort(viewed.scans.begin() + static_cast<std::ptrdiff_t>(first), viewed.scans.end());
}

ViewedScans NamedScans(const Options& options) {
  ViewedScans viewed;
  for (const std::string& name : options.inputs) {
    if (fs::is_directory(name)) {
      if (options.inputs.size() == 1 && fs::exists(fs::path(name) / kReportFolder / kOverviewName)) viewed.run = name;
      AddFolder(name, options.recursive, viewed);
    } else if (fs::is_regular_file(name)) {
      viewed.scans.emplace_back(name);
    } else {
      throw UsageError(name + " is no file and no folder");
    }
  }
  if (viewed.scans.empty() && viewed.run.empty())
    throw UsageError(options.inputs[0] + ": no scans there" +
                     (options.recursive ? "" : "; -r looks below folders, too"));
  return viewed;
}

// Opens the address by way of a file that nobody else can read: the words of a command are open to all of the machine.
// Not waited for: what opens may be the browser itself. Apart from the terminal, whose Ctrl-C ends the program alone.
void OpenBrowser(const std::string& address, const fs::path& folder) {
  const fs::path file = folder / "zep3.html";
  std::ofstream(file) << "<!doctype html><meta http-equiv=\"refresh\" content=\"0; url=" << Escape(address) << "\">\n";
  const std::string name = file.string();
  if (::fork() == 0) {
    ::setsid();
    ::execlp("xdg-open", "xdg-open", name.c_str(), nullptr);
    ::_exit(127);
  }
}

bool HasDisplay() { return std::getenv("DISPLAY") != nullptr || std::getenv("WAYLAND_DISPLAY") != nullptr; }

} // namespace

int RunView(const Options& options) {
  CatchSignals();
  ViewedScans viewed = NamedScans(options);
  PageServer server(PageFolder(), std::move(viewed));
  std::cout << server.Address() << std::endl;
  const TemporaryFolder folder;
  if (!options.noBrowser && HasDisplay()) OpenBrowser(server.Address(), folder.Path());
  if (!options.quiet) Say("open this address in a browser of this machine; Ctrl-C ends zep3 view");
  server.Serve();
  return 0;
}
#else
int RunView(const Options&) { throw UsageError("this zep3 was built without zep3 view: cpp-httplib was not there"); }
#endif
