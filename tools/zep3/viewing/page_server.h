// The page on which scans are looked at and corrected, served to this machine's browser alone.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

struct ViewedScans {
  std::vector<std::filesystem::path> scans;
  // A folder of results with the overview of a run; empty: none.
  std::filesystem::path run;
};

// Listens on 127.0.0.1 alone, at a port that the system chooses. Every address begins with a random word, so that only
// who was told it finds anything. Served are the files of the page, the scans that were named, by number, and what lies
// in the folder of the run; written are sidecars beside those scans.
class PageServer {
 public:
  // `page`: the folder of the page. Throws Failure when nothing can be listened to.
  PageServer(const std::filesystem::path& page, ViewedScans viewed);
  ~PageServer();
  PageServer(const PageServer&) = delete;
  PageServer& operator=(const PageServer&) = delete;

  // The page's address, or that of the run's overview.
  const std::string& Address() const;

  // Until the user interrupts the program.
  void Serve();

 private:
  struct Parts;
  std::unique_ptr<Parts> m_parts;
};
