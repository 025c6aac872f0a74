// A list of names of any bytes: one job a name, and no result that takes the place of a scan or of another result.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <set>
#include <string>

#include "command/plan.h"
#include "failure.h"
#include "files/formats.h"
#include "target.h"

void RunTarget(Input input) {
  Options options;
  options.nulSeparated = input.OneIn(2);
  const int kind = input.Below(4);
  options.output = kind == 0 ? "fuzz-results/" : kind == 1 ? "." : "";
  options.inPlace = kind == 2;
  options.command = kind == 3 ? Command::kAnalyse : Command::kCorrect;
  if (kind < 2 && input.OneIn(2)) options.format = &Formats().front();

  const int list = memfd_create("list", MFD_CLOEXEC);
  const std::string_view text = input.Text();
  ZEP3_HOLDS(list >= 0 && write(list, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
  options.filesFrom = "/proc/self/fd/" + std::to_string(list);

  const char separator = options.nulSeparated ? '\0' : '\n';
  size_t names = 0;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find(separator, begin), text.size());
    names += end > begin;
    begin = end + 1;
  }
  Plan plan(options);
  std::set<std::string> scans, results;
  while (const std::optional<Job> job = plan.Next()) {
    ZEP3_HOLDS(names-- > 0);
    ZEP3_HOLDS(!job->scan.empty() && job->scan.find(separator) == std::string::npos);
    scans.insert(SplitOptions(job->scan).name);
    if (!job->refusal.empty() || job->result.empty()) continue;
    ZEP3_HOLDS(results.insert(job->result).second);
    ZEP3_HOLDS(options.inPlace || !scans.contains(job->result));
  }
  ZEP3_HOLDS(names == 0);
  close(list);
}
