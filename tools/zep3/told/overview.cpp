#include "told/overview.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "files/output.h"
#include "told/html.h"
#include "told/json_fields.h"
#include "told/overview_style.h"
#include "told/report_place.h"
#include "told/report_style.h"
#include "told/roll_file.h"
#include "told/run_table.h"
#include "told/sidecar.h"

namespace fs = std::filesystem;

namespace {

using Json = nlohmann::json;

constexpr size_t kCardsAPage = 200;
constexpr const char* kTableName = "run.csv";
constexpr const char* kDataName = "scans.js";
constexpr const char* kHeadsName = "runs.json";
constexpr size_t kHeadsBytes = 1 << 20;
constexpr size_t kHeadsMost = 20;

// What becomes of a scan, what is most worth a look first. The name is the page's and its script's.
struct State {
  const char *name, *text;
};
constexpr std::array<State, 6> kStates = {{{"failed", "failed"},
                                           {"none", "no correction was found"},
                                           {"look", "to look at"},
                                           {"skipped", "left as it was"},
                                           {"unchecked", "not checked"},
                                           {"good", "good"}}};

size_t PlaceOf(const std::string& state) {
  const auto at = std::find_if(kStates.begin(), kStates.end(), [&](const State& one) { return state == one.name; });
  return static_cast<size_t>(at - kStates.begin());
}

const Json& PagesOf(const Json& record) {
  static const Json kNone = Json::array();
  const auto at = record.find("pages");
  return at != record.end() && at->is_array() ? *at : kNone;
}

std::string StateOf(const Json& record) {
  const std::string status = TextField(record, "status");
  if (status != "corrected" && status != "skipped") return "failed";
  size_t worst = kStates.size();
  for (const Json& page : PagesOf(record)) {
    const std::string verdict = page.is_object() ? TextField(page, "verdict") : "";
    worst = std::min(worst, PlaceOf(verdict.empty() ? "unchecked" : verdict == "failed" ? "none" : verdict));
  }
  if (worst < kStates.size()) return kStates[worst].name;
  return status == "skipped" ? "skipped" : "unchecked";
}

// The reasons of all pages, each once.
std::string ReasonsOf(const Json& record) {
  std::string text;
  std::set<std::string> told;
  for (const Json& page : PagesOf(record)) {
    if (!page.is_object() || !page.contains("analysis") || !page.at("analysis").is_object()) continue;
    const Json& analysis = page.at("analysis");
    if (!analysis.contains("reasons") || !analysis.at("reasons").is_array()) continue;
    for (const Json& reason : analysis.at("reasons")) {
      const std::string said = reason.is_object() ? TextField(reason, "text") : "";
      if (!said.empty() && told.insert(said).second) text += (text.empty() ? "" : "; ") + said;
    }
  }
  return text;
}

std::string KindOf(const Json& record) {
  for (const Json& page : PagesOf(record)) {
    if (page.is_object() && !TextField(page, "kind").empty()) return TextField(page, "kind");
  }
  return TextField(record, "kind");
}

bool Exists(const fs::path& path) {
  std::error_code ignored;
  return fs::exists(path, ignored);
}

// A path as an address.
std::string Address(const fs::path& path) {
  constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~/";
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string address;
  for (const char c : path.generic_string()) {
    const auto byte = static_cast<unsigned char>(c);
    if (kPlain.find(c) != std::string_view::npos) {
      address += c;
    } else {
      address += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return address;
}

std::string Link(const fs::path& path, const std::string& text) {
  return "<a href=\"" + Address(path) + "\">" + Escape(text) + "</a>";
}

// A result below the folder. It was named from where its run was started, perhaps on another machine, or the folder was
// moved since: then the longest end of the name counts that is there.
std::string NameBelow(const fs::path& folder, const std::string& startedIn, const std::string& result) {
  if (result.empty() || result == "-") return "";
  const fs::path path = fs::path(startedIn) / result;
  const fs::path name = path.lexically_normal().lexically_relative(folder);
  if (!name.empty() && *name.begin() != "..") return name.string();
  for (auto from = path.begin(); from != path.end(); ++from) {
    fs::path end;
    for (auto part = from; part != path.end(); ++part) end /= *part;
    if (end.is_relative() && Exists(folder / end)) return end.string();
  }
  return path.filename().string();
}

std::string PageName(size_t page) { return page == 0 ? kOverviewName : "page-" + std::to_string(page + 1) + ".html"; }

std::string PagesNav(size_t pages, size_t current) {
  if (pages < 2) return "";
  std::string html = "<nav class=\"pages\" aria-label=\"Pages\">\n";
  for (size_t i = 0; i < pages; i++) {
    html += i == current ? "<strong>" + std::to_string(i + 1) + "</strong>\n"
                         : Link(PageName(i), std::to_string(i + 1)) + "\n";
  }
  return html + "</nav>\n";
}

void WriteFile(const fs::path& name, const std::string& bytes, PendingFile::Sync sync) {
  WritePending(name, bytes, sync).Commit(true);
}

// A file in parts, of which the whole would take much memory.
template <typename Make>
void WriteParts(const fs::path& name, PendingFile::Sync sync, Make make) {
  PendingFile file(name, sync);
  file.Fill([&] { make([&](const std::string& part) { file.Write(part.data(), part.size()); }); });
  file.Finish();
  file.Commit(true);
}

} // namespace

bool Overview::Add(const Json& record, const fs::path& kept) {
  if (!record.is_object() || TextField(record, "scan").empty() || TextField(record, "status").empty()) return false;
  Scan scan;
  scan.name = TextField(record, "scan");
  scan.state = StateOf(record);
  scan.kind = KindOf(record);
  scan.startedIn = TextField(record, "folder");
  const fs::path keptName =
      TextField(record, "name").empty() || kept.empty() ? fs::path() : kept / TextField(record, "name");
  scan.result = Exists(keptName) ? keptName.lexically_relative(m_folder).string()
                                 : NameBelow(m_folder, scan.startedIn, TextField(record, "result"));
  scan.pages = static_cast<int64_t>(PagesOf(record).size());
  const auto seconds = record.find("seconds");
  scan.seconds = seconds != record.end() && seconds->is_number() ? seconds->get<double>() : 0;
  const std::string message = TextField(record, "message");
  scan.said = scan.state == "failed" || scan.state == "skipped" ? message : ReasonsOf(record);
  scan.table = RunTableLines(record);
  const auto [at, isNew] = m_scans.emplace(scan.result.empty() ? "\n" + scan.name : scan.result, scan);
  const bool earlierStands = TextField(record, "status") == "skipped" && at->second.state != "failed";
  if (!isNew && !earlierStands) at->second = std::move(scan);
  return true;
}

std::vector<const Overview::Scan*> Overview::InOrder() const {
  std::vector<const Scan*> order;
  for (const auto& [key, scan] : m_scans) order.push_back(&scan);
  const auto key = [](const Scan& scan) {
    return std::pair<size_t, const std::string&>(PlaceOf(scan.state), scan.name);
  };
  std::sort(order.begin(), order.end(), [&](const Scan* a, const Scan* b) { return key(*a) < key(*b); });
  return order;
}

bool Overview::IsStartedInOneFolder() const {
  return std::all_of(m_scans.begin(), m_scans.end(),
                     [&](const auto& scan) { return scan.second.startedIn == m_scans.begin()->second.startedIn; });
}

// As the run was given it, which holds where the run was started; of several such places, whole.
std::string Overview::ListNameOf(const Scan& scan, bool absolute) const {
  return absolute && !scan.startedIn.empty() ? (fs::path(scan.startedIn) / scan.name).string() : scan.name;
}

std::string Overview::CardOf(const Scan& scan) const {
  const fs::path up = ".."; // from the report folder to the results
  const fs::path report = ReportInRun(scan.result), thumbnail = ThumbnailInRun(scan.result);
  const auto here = [](const fs::path& below) { return below.lexically_relative(kReportFolder); };
  const bool hasResult = !scan.result.empty() && Exists(m_folder / scan.result);
  const bool hasReport = !scan.result.empty() && Exists(m_folder / report);
  const bool hasPicture = hasResult && Exists(m_folder / thumbnail);
  std::string shot = hasPicture ? "<img loading=\"lazy\" decoding=\"async\" alt=\"before and after\" src=\"" +
                                      Address(here(thumbnail)) + "\">"
                                : "<span>no picture</span>";
  if (hasReport || hasResult)
    shot = "<a href=\"" + Address(hasReport ? here(report) : up / scan.result) + "\">" + shot + "</a>";
  const std::string folder = fs::path(scan.result.empty() ? scan.name : scan.result).parent_path().string();
  std::string html = "<article class=\"card " + scan.state + "\"><div class=\"shot\">" + shot + "</div><h3 title=\"" +
                     Escape(scan.name) + "\">" + Escape(scan.name.substr(scan.name.rfind('/') + 1)) + "</h3>" +
                     (folder.empty() ? "" : "<p>" + Escape(folder) + "</p>") + "<p><strong>" +
                     kStates[PlaceOf(scan.state)].text + "</strong>";
  if (!scan.kind.empty()) html += " · " + Escape(scan.kind);
  if (scan.pages > 1) html += " · " + std::to_string(scan.pages) + " pages";
  if (hasReport) html += " · " + Link(here(report), "report");
  if (hasResult) html += " · " + Link(up / scan.result, "result");
  html += "</p>";
  if (!scan.said.empty()) html += "<p class=\"said\">" + Escape(scan.said) + "</p>";
  return html + "</article>\n";
}

std::string Overview::TotalsHtml(const std::vector<RunHead>& runs) const {
  std::array<size_t, kStates.size()> counts = {};
  std::set<std::string> folders;
  int64_t pages = 0;
  double seconds = 0;
  for (const auto& [key, scan] : m_scans) {
    counts[PlaceOf(scan.state)]++;
    pages += scan.pages;
    seconds += scan.seconds;
    if (!scan.result.empty()) folders.insert(fs::path(scan.result).parent_path().string());
  }
  std::string html = "<p class=\"verdict\">" + std::to_string(m_scans.size()) + " scans";
  for (size_t i = 0; i < kStates.size(); i++) {
    if (counts[i] > 0) html += ", " + std::to_string(counts[i]) + " " + kStates[i].text;
  }
  html += "</p>\n<p>" + std::to_string(pages) + " pages, " + std::to_string(std::lround(seconds)) +
          " seconds of work · " + Link(kTableName, "table (" + std::string(kTableName) + ")") + "</p>\n";
  std::string rolls;
  for (const std::string& folder : folders) {
    const fs::path sheet = fs::path(folder) / kRollPageName;
    if (Exists(m_folder / sheet))
      rolls += (rolls.empty() ? "" : " · ") + Link(fs::path("..") / sheet, folder.empty() ? "this roll" : folder);
  }
  if (!rolls.empty()) html += "<p>Contact sheets of rolls: " + rolls + "</p>\n";
  if (runs.empty()) return html;
  html += "<details>\n<summary>How this was made</summary>\n";
  for (const RunHead& run : runs) {
    html += "<p><code class=\"command\">" + Escape(run.command) + "</code>" + Escape(run.date) + ", in " +
            Escape(run.folder) + ", " + Escape(run.versions) + "</p>\n";
  }
  return html + "</details>\n";
}

std::string Overview::PageHtml(const std::vector<const Scan*>& order, size_t page, const std::string& totals) const {
  const size_t pages = std::max<size_t>(1, (order.size() + kCardsAPage - 1) / kCardsAPage);
  const std::string name = Escape(m_folder.filename().string());
  std::string html = PageHead(kOverviewPolicy) + "<title>" + name + " – overview</title>\n" + std::string(kStyle) +
                     std::string(kOverviewStyle) + "</head>\n<body>\n<header>\n<h1>" + name + "</h1>\n" + totals +
                     "</header>\n<main data-page=\"" + std::to_string(page) + "\" data-size=\"" +
                     std::to_string(kCardsAPage) + "\">\n" + PagesNav(pages, page) + "<div class=\"cards\">\n";
  const size_t end = std::min(order.size(), (page + 1) * kCardsAPage);
  for (size_t i = page * kCardsAPage; i < end; i++) html += CardOf(*order[i]);
  html += "</div>\n" + PagesNav(pages, page) + "</main>\n<script src=\"" + kDataName + "\" defer></script>\n" +
          std::string(kOverviewScript) + "</body>\n</html>\n";
  return html;
}

void Overview::WriteData(const std::vector<const Scan*>& order, PendingFile::Sync sync) const {
  const bool absolute = !IsStartedInOneFolder();
  const std::string startedIn = m_scans.empty() || absolute ? "" : m_scans.begin()->second.startedIn;
  Json states = Json::array();
  for (const State& state : kStates) states.push_back({state.name, state.text});
  const auto text = [](const Json& json) { return json.dump(-1, ' ', true, Json::error_handler_t::replace); };
  WriteParts(m_folder / kReportFolder / kDataName, sync, [&](const auto& add) {
    add("window.zep3Overview = {\n\"startedIn\": " + text(startedIn) + ",\n\"states\": " + text(states) +
        ",\n\"scans\": [\n");
    for (const Scan* scan : order) {
      add(text({scan->state, scan->kind, fs::path(scan->name).parent_path().string(), ListNameOf(*scan, absolute),
                scan->said, CardOf(*scan)}) +
          ",\n");
    }
    add("]};\n");
  });
}

void Overview::Write(const std::vector<RunHead>& runs, PendingFile::Sync sync) const {
  const fs::path folder = m_folder / kReportFolder;
  CreateFolders(folder, sync);
  const std::vector<const Scan*> order = InOrder();
  const std::string totals = TotalsHtml(runs);
  WriteParts(folder / kTableName, sync, [&](const auto& add) {
    add(RunTableHead());
    for (const Scan* scan : order) add(scan->table);
  });
  WriteData(order, sync);
  const size_t pages = std::max<size_t>(1, (order.size() + kCardsAPage - 1) / kCardsAPage);
  for (size_t page = pages; page-- > 0;) WriteFile(folder / PageName(page), PageHtml(order, page, totals), sync);
  std::error_code ignored;
  for (size_t page = pages; fs::remove(folder / PageName(page), ignored); page++) continue; // of a run of more scans
  nlohmann::ordered_json heads = nlohmann::ordered_json::array();
  for (const RunHead& run : runs) {
    heads.push_back({{"command", run.command}, {"folder", run.folder}, {"versions", run.versions}, {"date", run.date}});
  }
  WriteFile(folder / kHeadsName, ToText(heads, 1) + '\n', sync);
}

std::vector<RunHead> ReadRunHeads(const fs::path& folder) try {
  const fs::path name = folder / kReportFolder / kHeadsName;
  if (!Exists(name)) return {};
  const Json heads = Json::parse(ReadText(name.string(), kHeadsBytes), nullptr, false);
  std::vector<RunHead> runs;
  if (!heads.is_array()) return {};
  for (const Json& head : heads) {
    if (head.is_object())
      runs.push_back({TextField(head, "command"), TextField(head, "folder"), TextField(head, "versions"),
                      TextField(head, "date")});
  }
  if (runs.size() > kHeadsMost) runs.erase(runs.begin(), runs.end() - kHeadsMost);
  return runs;
} catch (const std::exception&) {
  return {}; // of no use to make the page anew
}
