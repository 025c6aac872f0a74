// Two passes over each roll: every scan is looked at, what they share is found, every scan is finished with it.
#include "command/rolls.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "command/overview.h"
#include "command/plan.h"
#include "command/reporter.h"
#include "command/run_jobs.h"
#include "failure.h"
#include "files/output.h"
#include "files/pending_file.h"
#include "interrupt.h"
#include "job/observe.h"
#include "job/outcome.h"
#include "job/result.h"
#include "page/analysis.h"
#include "told/evidence.h"
#include "told/roll_file.h"
#include "told/roll_page.h"
#include "told/run_state.h"
#include "told/sidecar.h"

namespace fs = std::filesystem;

namespace {

// A roll's scans in the order in which they are told.
struct RollJobs {
  std::string from; // the folder that they come from; empty: named one by one
  std::string file; // the roll's; empty: none of its scans can be read
  std::vector<Job> jobs;
  Roll before;     // of an earlier run, with those scans that were seen as this run sees them
  Options options; // of its scans
  Roll now;        // without scans
};

// Throws UsageError for a file that is none, or another roll's.
Roll ReadBefore(const RollJobs& roll, const Options& options, const Roll& now) {
  std::error_code ignored;
  if (!fs::exists(roll.file, ignored)) return now;
  Roll before;
  try {
    before = ReadRoll(roll.file);
  } catch (const Failure& failure) {
    if (options.overwrite) return now;
    throw UsageError(std::string(failure.what()) + "; --overwrite replaces it");
  }
  std::set<fs::path> names;
  for (const Job& job : roll.jobs) names.insert(fs::path(job.scan).filename());
  const bool other = std::none_of(before.scans.begin(), before.scans.end(), [&](const ObservedScan& scan) {
    return names.contains(fs::path(scan.name).filename());
  });
  if (other && !before.scans.empty() && !options.overwrite) {
    throw UsageError(roll.file +
                     " is another roll's; --overwrite replaces it, -o names another folder, --use-roll finishes "
                     "these scans with it");
  }
  return before.IsSeenAs(now) ? before : now;
}

// As the options have it, without scans.
Roll RollOf(const Options& options) {
  Roll roll;
  roll.analysis.kind = options.analysis.kind;
  roll.analysis.matrix = options.analysis.matrix;
  roll.analysis.area = options.analysis.area;
  roll.inputGamma = options.inputGamma;
  return roll;
}

// What its scans share is found by one way of looking at them.
void CheckAlike(const RollJobs& roll) {
  for (const Job& job : roll.jobs) {
    if (job.settled && job.settled->words != roll.jobs[0].settled->words) {
      throw UsageError("the scans of a roll have the same options: " + roll.jobs[0].scan + " has " +
                       roll.jobs[0].settled->told + ", " + job.scan + " has " + job.settled->told);
    }
  }
}

// All rolls of a run. Throws UsageError.
std::vector<RollJobs> GatherRolls(const Options& options, Plan& plan) {
  std::vector<RollJobs> rolls;
  std::map<std::string, size_t> places, files;
  std::set<std::string> scans; // one named twice would count twice
  while (std::optional<Job> job = plan.Next()) {
    if (job->scan == "-") job->refusal = "standard input can be read but once, and scans of a roll are read twice";
    const NameWithOptions scan = SplitOptions(job->scan);
    if (job->refusal.empty() && !scans.insert(Canonical(scan.name) + scan.options).second)
      job->refusal = "is named twice";
    const std::string from = options.recursive ? job->folder : "";
    const auto [place, isNew] = places.emplace(from, rolls.size());
    if (isNew) rolls.push_back({from, "", {}, Roll(), options, Roll()});
    RollJobs& roll = rolls[place->second];
    const bool together = !options.recursive && plan.KeepsFolders();
    if (roll.file.empty() && !job->result.empty())
      roll.file = ((together ? fs::path(options.output) : FolderOf(job->result)) / kRollName).string();
    roll.jobs.push_back(*std::move(job));
  }
  for (size_t i = 0; i < rolls.size(); i++) {
    RollJobs& roll = rolls[i];
    if (roll.file.empty()) continue;
    const auto [other, isNew] = files.emplace(Canonical(roll.file), i);
    if (!isNew) {
      throw UsageError("the rolls " + rolls[other->second].from + " and " + roll.from + " would share " + roll.file +
                       "; name the folder above them, or give each a run of its own");
    }
    CheckAlike(roll);
    if (roll.jobs[0].settled) roll.options = WithWords(options, roll.jobs[0].settled->words);
    roll.now = RollOf(roll.options);
    roll.before = ReadBefore(roll, options, roll.now);
  }
  return rolls;
}

// The first of the names, with what is the matter with them.
std::string Named(const std::vector<std::string>& names, const std::string& what, const std::string& why) {
  constexpr size_t kMost = 8;
  if (names.empty()) return "";
  std::string text = ", " + std::to_string(names.size()) + " " + what + ": ";
  for (size_t i = 0; i < std::min(names.size(), kMost); i++) text += (i > 0 ? ", " : "") + names[i];
  if (names.size() > kMost) text += " and " + std::to_string(names.size() - kMost) + " more";
  return text + (why.empty() ? "" : " (" + why + ")");
}

// Who belongs, in one line.
std::string MembersText(const Roll& roll) {
  std::map<Member, std::vector<std::string>> names;
  for (const ObservedScan& scan : roll.scans) {
    for (const ObservedPage& page : scan.pages) {
      names[page.member].push_back(scan.name + (scan.pages.size() > 1 ? " page " + std::to_string(page.page + 1) : ""));
    }
  }
  if (!roll.shared) return "too few of these scans belong together: each is finished by itself";
  const std::string mixed =
      roll.IsMixed() ? std::string("; ") + kMixedRoll.pText + "; one folder for each film helps" : "";
  const std::string unequal = roll.IsUnequal() ? std::string("; they are ") + Roll::kUnequalText : "";
  return std::to_string(names[Member::kShared].size()) + " together" +
         Named(names[Member::kOdd], "odd", std::string(ReasonText(ZEP3_REASON_ODD))) +
         Named(names[Member::kBlank], "blank", "") + mixed + unequal;
}

// One roll through both passes.
class RollRun {
 public:
  RollRun(const RollJobs& jobs, Reporter& reporter, FormerRun& former)
      : m_jobs(jobs), m_options(jobs.options), m_reporter(reporter), m_former(former), m_roll(jobs.now) {}

  void Run() {
    Look();
    if (m_jobs.file.empty()) return Finish();
    if (!IsInterrupted()) Solve();
    if (!m_roll.scans.empty()) WriteFile(m_jobs.file, RollText(m_roll));
    if (IsInterrupted()) return TellFailed(m_jobs.jobs.size());
    Finish();
    if (IsInterrupted() || m_roll.scans.empty()) return;
    WritePage();
    m_reporter.Note(m_jobs.file + ": " + MembersText(m_roll));
  }

 private:
  // The scans with these numbers, in their order; done(number, outcome) in the same.
  template <class Done>
  void RunThrough(const std::vector<size_t>& numbers, const Options& options, const Done& done) const {
    size_t given = 0, taken = 0;
    const auto next = [&]() -> std::optional<Job> {
      if (given == numbers.size()) return std::nullopt;
      Job job = WithShared(m_jobs.jobs[numbers[given++]]);
      job.made = m_former.Made(job.result);
      return job;
    };
    RunJobs(
        options, WorkersFor(m_options, numbers.size()), next,
        [&](const Job&, Outcome outcome) { done(numbers[taken++], std::move(outcome)); }, m_reporter);
  }

  // The first pass, without the scans that an earlier run has seen.
  void Look() {
    std::map<size_t, ObservedScan> found;
    std::vector<size_t> toSee;
    for (size_t i = 0; i < m_jobs.jobs.size(); i++) {
      const Job& job = m_jobs.jobs[i];
      if (!job.refusal.empty()) continue;
      if (const ObservedScan* seen = SeenBefore(job)) {
        found[i] = *seen;
        found[i].name = job.scan;
        for (ObservedPage& page : found[i].pages) page.member = Member::kNone; // of this run nothing is solved yet
      } else {
        toSee.push_back(i);
      }
    }
    Options looking = m_options;
    looking.command = Command::kObserve;
    looking.quiet = true;
    RunThrough(toSee, looking, [&](size_t i, Outcome outcome) {
      try {
        if (outcome.status == Status::kCorrected) found[i] = ObservedScanFromText(outcome.text);
      } catch (const std::exception& error) {
        outcome = {Status::kFailed, error.what()};
      }
      if (outcome.status != Status::kCorrected) m_failed[i] = outcome;
      m_reporter.ShowLook(toSee.size(), m_jobs.jobs[i].scan);
    });
    for (auto& [i, scan] : found) m_roll.scans.push_back(std::move(scan));
  }

  const ObservedScan* SeenBefore(const Job& job) const try {
    const ObservedScan now = IdentityOf(job, m_options);
    const std::vector<ObservedScan>& before = m_jobs.before.scans;
    const auto at = std::find_if(before.begin(), before.end(), [&](const auto& scan) { return scan.IsSame(now); });
    return at == before.end() ? nullptr : &*at;
  } catch (const Failure&) {
    return nullptr; // the worker meets it again, and says it
  }

  void Solve() {
    std::vector<ZEP3_OBSERVATION> seen;
    for (const ObservedScan& scan : m_roll.scans) {
      for (const ObservedPage& page : scan.pages) seen.push_back(page.seen);
    }
    std::vector<int64_t> members(seen.size());
    ZEP3_SHARED shared;
    if (SolveZEP3Shared(seen.data(), static_cast<int64_t>(seen.size()), &shared, members.data()))
      m_roll.shared = shared;
    size_t i = 0;
    for (ObservedScan& scan : m_roll.scans) {
      for (ObservedPage& page : scan.pages) {
        const int64_t member = members[i++];
        page.member = !m_roll.shared              ? Member::kSingle
                      : member == ZEP3_MEMBER     ? Member::kShared
                      : member == ZEP3_MEMBER_ODD ? Member::kOdd
                                                  : Member::kBlank;
      }
    }
  }

  void WriteFile(const std::string& name, const std::string& text) const {
    CreateFolders(FolderOf(name), SyncOf(m_options));
    PendingFile file = WritePending(name, text, SyncOf(m_options));
    file.Commit(true);
    if (const std::string fault = file.SyncName(); !fault.empty()) throw Failure(fault);
  }

  // The second pass. Scans that failed in the first are told in their place.
  void Finish() {
    Options finishing = m_options;
    finishing.quiet |= m_jobs.jobs.size() > 1;
    finishing.analysis.roll = true;
    finishing.analysis.shared = m_roll.shared;
    finishing.analysis.mixedRoll = m_roll.IsMixed();
    std::vector<size_t> toFinish;
    for (size_t i = 0; i < m_jobs.jobs.size(); i++) {
      if (!m_failed.contains(i)) toFinish.push_back(i);
    }
    size_t frames = 0;
    for (const ObservedScan& scan : m_roll.scans) frames += scan.pages.size();
    if (NeedsPage(toFinish)) finishing.rollPictures = RollPictureSide(frames);
    RunThrough(toFinish, finishing, [&](size_t i, const Outcome& outcome) {
      TellFailed(i);
      Tell(m_jobs.jobs[i], outcome);
    });
    TellFailed(m_jobs.jobs.size());
  }

  // Where every scan had its result before, the page stays as it is: making it would read them all again.
  bool NeedsPage(const std::vector<size_t>& toFinish) const {
    const auto isFinished = [&](size_t i) {
      try {
        return IsFinishedBefore(m_jobs.jobs[i], m_options);
      } catch (const Failure&) {
        return false; // the worker meets it again, and says it
      }
    };
    return m_options.update || !fs::exists(PageName()) || !std::all_of(toFinish.begin(), toFinish.end(), isFinished);
  }

  // What the scans share settles their results, too.
  Job WithShared(const Job& job) const {
    if (!m_roll.shared || !job.settled) return job;
    Job with = job;
    std::shared_ptr<const Settled>& settled = m_settled[job.settled];
    if (!settled) settled = SettledWithShared(*job.settled);
    with.settled = settled;
    return with;
  }
  std::shared_ptr<const Settled> SettledWithShared(const Settled& alone) const {
    Roll roll = m_jobs.now;
    roll.shared = m_roll.shared;
    auto told = nlohmann::ordered_json::parse(alone.told);
    told["roll"] = {{"value", Fingerprint(RollText(roll))}, {"from", kCommandLine}};
    auto settled = std::make_shared<Settled>(alone);
    settled->told = ToText(told, -1);
    return settled;
  }

  void Tell(const Job& told, const Outcome& outcome) {
    const Job job = WithShared(told);
    m_frames.insert(m_frames.end(), outcome.frames.begin(), outcome.frames.end());
    if (outcome.status == Status::kFailed) m_frames.push_back(FailedRollFrame(job.scan, outcome.message));
    m_reporter.Tell(job, outcome);
  }

  std::string PageName() const { return (FolderOf(m_jobs.file) / kRollPageName).string(); }

  void WritePage() const {
    if (m_frames.empty()) return;
    const fs::path folder = FolderOf(Canonical(m_jobs.file));
    WriteFile(PageName(), RollPage(folder.filename().string(), m_roll, MembersText(m_roll), m_frames));
  }

  // Those before the scan with this number.
  void TellFailed(size_t end) {
    while (!m_failed.empty() && m_failed.begin()->first < end) {
      const auto& [number, outcome] = *m_failed.begin();
      m_reporter.Keep(WithShared(m_jobs.jobs[number]), outcome);
      Tell(m_jobs.jobs[number], outcome);
      m_failed.erase(m_failed.begin());
    }
  }

  const RollJobs& m_jobs;
  const Options& m_options;
  Reporter& m_reporter;
  FormerRun& m_former;
  Roll m_roll;
  // With what the scans share, once that is known; by those without.
  mutable std::map<std::shared_ptr<const Settled>, std::shared_ptr<const Settled>> m_settled;
  std::vector<std::string> m_frames;  // of the contact sheet
  std::map<size_t, Outcome> m_failed; // in the first pass, by the number of the scan; not told yet
};

} // namespace

void CheckSharingAnalysis(const Options& options, const std::string& option) {
  if (options.analysis.adaptive == false || options.analysis.plain)
    throw UsageError(option + " is for the adaptive analysis, without --option plain");
}

void CheckShares(const Options& options) {
  CheckSharingAnalysis(options, "--roll");
  if (!CanShare(options.analysis)) {
    throw UsageError(std::string("--roll: scans of the kind ") + options.analysis.kind->pName +
                     " share nothing that one of them does not tell; leave --roll out");
  }
}

int RunRolls(const Options& given) {
  Options options = given;
  Plan plan(options);
  options.runFolder = plan.StateFolder();
  options.overview = WantsOverview(options, true);
  const std::vector<RollJobs> rolls = GatherRolls(options, plan);
  Reporter reporter(options, plan);
  FormerRun former(plan.StateFolder());
  if (rolls.size() != 1 || rolls[0].jobs.size() != 1) reporter.Expect();
  size_t total = 0;
  for (const RollJobs& roll : rolls) total += roll.jobs.size();
  reporter.ExpectInAll(total);
  for (const RollJobs& roll : rolls) {
    if (!IsInterrupted()) RollRun(roll, reporter, former).Run();
  }
  reporter.Summarise();
  if (options.overview) WriteOverview(options);
  return reporter.ExitStatus();
}
