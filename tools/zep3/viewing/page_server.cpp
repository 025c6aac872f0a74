// Requests, who may send them, and what each gets; the protocol is cpp-httplib's.
#include "viewing/page_server.h"

#include <httplib.h>
#include <sys/random.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "failure.h"
#include "files/pending_file.h"
#include "interrupt.h"
#include "log.h"
#include "told/report_place.h"
#include "told/side_files.h"
#include "told/sidecar.h"
#include "version.h"

namespace fs = std::filesystem;
using httplib::Request;
using httplib::Response;

namespace {

constexpr const char* kHost = "127.0.0.1";
constexpr size_t kPiece = 1 << 20; // bytes of a file that are sent at a time
constexpr auto kLook = std::chrono::milliseconds(100);

// As in web/index.html, and in no frame of another page: everything comes from the page's own address; WebAssembly is
// the one thing that is compiled.
constexpr const char* kPolicyOfPage =
    "default-src 'none'; script-src 'self' 'wasm-unsafe-eval'; style-src 'self'; img-src 'self' blob: data:; "
    "connect-src 'self'; worker-src 'self'; manifest-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
// Overview and reports, which the program has written: their scripts are in the pages, keep marks, and fetch nothing.
constexpr const char* kPolicyOfReports =
    "default-src 'none'; script-src 'self' 'unsafe-inline'; style-src 'self' 'unsafe-inline'; "
    "img-src 'self' blob: data:; frame-src 'self'; base-uri 'none'; form-action 'none'";
// What else lies in the folder of results may be from anywhere: it runs no script here.
constexpr const char* kPolicyOfResults = "sandbox; default-src 'none'; img-src 'self' data:; style-src 'unsafe-inline'";

// 128 bits, as hexadecimal digits.
std::string RandomWord() {
  std::array<unsigned char, 16> bytes{};
  if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
    throw Failure("no random numbers for the page's address");
  std::string word;
  for (const unsigned char byte : bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    word += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return word;
}

// In a time that tells nothing about where they differ.
bool SameWord(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  int difference = 0;
  for (size_t i = 0; i < a.size(); i++) difference |= a[i] ^ b[i];
  return difference == 0;
}

void Answer(Response& response, int status, const std::string& text) {
  response.status = status;
  response.set_content(text + "\n", "text/plain; charset=utf-8");
}

const char* TypeOf(const fs::path& file) {
  static const std::map<std::string, const char*> types = {
      {".html", "text/html; charset=utf-8"},
      {".js", "text/javascript"},
      {".mjs", "text/javascript"},
      {".css", "text/css"},
      {".json", "application/json"},
      {".webmanifest", "application/manifest+json"},
      {".csv", "text/csv; charset=utf-8"},
      {".txt", "text/plain; charset=utf-8"},
      {".svg", "image/svg+xml"},
      {".png", "image/png"},
      {".jpg", "image/jpeg"},
      {".jpeg", "image/jpeg"},
      {".webp", "image/webp"},
      {".ico", "image/x-icon"},
      {".wasm", "application/wasm"},
  };
  const auto type = types.find(file.extension().string());
  return type == types.end() ? "application/octet-stream" : type->second;
}

// Piece by piece: a scan may be larger than the memory.
void SendFile(Response& response, const fs::path& path, const char* type) {
  auto file = std::make_shared<std::ifstream>(path, std::ios::binary);
  std::error_code error;
  const bool regular = fs::is_regular_file(path, error);
  const uintmax_t size = regular ? fs::file_size(path, error) : 0;
  if (!regular || error || !*file) return Answer(response, 404, "not there");
  if (size == 0) return response.set_content("", type);
  response.set_content_provider(size, type, [file](size_t offset, size_t length, httplib::DataSink& sink) {
    std::string piece(std::min(length, kPiece), '\0');
    file->clear();
    file->seekg(static_cast<std::streamoff>(offset));
    file->read(piece.data(), static_cast<std::streamsize>(piece.size()));
    if (static_cast<size_t>(file->gcount()) != piece.size()) return false; // it has become shorter
    return sink.write(piece.data(), piece.size());
  });
}

// A file below the folder by the name in an address; nothing where that leads out of it, by a link, too.
std::optional<fs::path> FileBelow(const fs::path& folder, const std::string& name) {
  std::error_code error;
  const fs::path root = fs::canonical(folder, error);
  const fs::path file = error ? fs::path() : fs::canonical(root / name, error);
  if (error || name.empty() || fs::path(name).is_absolute()) return std::nullopt;
  const fs::path below = file.lexically_relative(root);
  if (below.empty() || *below.begin() == "..") return std::nullopt;
  return file;
}

fs::path SidecarOf(const fs::path& scan) { return scan.string() + kSidecarSuffix; }

} // namespace

struct PageServer::Parts {
  fs::path page;
  ViewedScans viewed;
  std::string word = RandomWord();
  httplib::Server server;
  std::string origin, address;
  mutable std::mutex writing; // files, of which each thread of the server may have one

  // Refuses what does not come from the page. A browser that was led here by another page tells that page's address as
  // the origin, and that page's name as the host.
  bool MayPass(const Request& request, Response& response) const {
    const std::string host = request.get_header_value("Host");
    if ("http://" + host != origin) return Answer(response, 421, "this is " + origin), false;
    const std::string_view path = request.path;
    if (path.size() < word.size() + 2 || path[word.size() + 1] != '/' || !SameWord(path.substr(1, word.size()), word))
      return Answer(response, 404, "not there"), false;
    if (request.method != "GET" && request.method != "HEAD" && request.get_header_value("Origin") != origin)
      return Answer(response, 403, "only the page itself may write"), false;
    return true;
  }

  const fs::path* ScanOf(const Request& request, Response& response) const {
    const std::string number = request.matches[1];
    const size_t index = number.size() > 9 ? viewed.scans.size() : std::stoul(number);
    if (index < viewed.scans.size()) return &viewed.scans[index];
    Answer(response, 404, "no scan has this number");
    return nullptr;
  }

  void ListScans(Response& response) const {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const fs::path& scan : viewed.scans) {
      std::error_code error;
      const uintmax_t size = fs::file_size(scan, error);
      list.push_back({{"name", scan.filename().string()},
                      {"folder", scan.parent_path().string()},
                      {"bytes", error ? 0 : size},
                      {"sidecar", fs::exists(SidecarOf(scan), error)}});
    }
    const nlohmann::ordered_json answer = {{"versions", VersionsText()}, {"scans", list}};
    response.set_content(ToText(answer, -1), "application/json");
  }

  // Beside the scan, if the program can repeat it.
  void TakeSidecar(const Request& request, Response& response) const {
    const fs::path* const scan = ScanOf(request, response);
    if (scan == nullptr) return;
    if (request.get_header_value("Content-Type") != "application/json")
      return Answer(response, 415, "a sidecar is application/json");
    try {
      CorrectionFromJson(request.body);
      const std::lock_guard alone(writing);
      PendingFile file = WritePending(SidecarOf(*scan), request.body, PendingFile::Sync::kYes);
      file.Commit(true);
    } catch (const Failure& failure) {
      return Answer(response, failure.Why() == Cause::kDisk ? 507 : 422, Printable(failure.what()));
    }
    Answer(response, 200, "written: " + SidecarOf(*scan).string());
  }

  void SendPage(const std::string& name, Response& response) const {
    const std::optional<fs::path> file = FileBelow(page, name.empty() ? "index.html" : name);
    if (!file) return Answer(response, 404, "not there");
    response.set_header("Content-Security-Policy", kPolicyOfPage);
    // Shared memory, for the decoders of TIFF, takes a page that shares nothing with others.
    response.set_header("Cross-Origin-Opener-Policy", "same-origin");
    response.set_header("Cross-Origin-Embedder-Policy", "require-corp");
    response.set_header("Cross-Origin-Resource-Policy", "same-origin");
    SendFile(response, *file, TypeOf(*file));
  }

  void SendOfRun(const std::string& name, Response& response) const {
    const std::optional<fs::path> file = viewed.run.empty() ? std::nullopt : FileBelow(viewed.run, name);
    if (!file) return Answer(response, 404, "not there");
    const bool report = *fs::path(name).lexically_normal().begin() == kReportFolder;
    response.set_header("Content-Security-Policy", report ? kPolicyOfReports : kPolicyOfResults);
    SendFile(response, *file, TypeOf(*file));
  }

  void Route() {
    server.set_payload_max_length(kSidecarBytes);
    server.set_default_headers(
        {{"X-Content-Type-Options", "nosniff"}, {"Referrer-Policy", "no-referrer"}, {"Cache-Control", "no-store"}});
    server.set_pre_routing_handler([this](const Request& request, Response& response) {
      using Handled = httplib::Server::HandlerResponse;
      return MayPass(request, response) ? Handled::Unhandled : Handled::Handled;
    });
    const std::string base = "/" + word + "/";
    server.Get(base + "api/scans", [this](const Request&, Response& response) { ListScans(response); });
    server.Get(base + "api/scans/(\\d+)", [this](const Request& request, Response& response) {
      if (const fs::path* scan = ScanOf(request, response)) SendFile(response, *scan, "application/octet-stream");
    });
    const std::string sidecar = base + "api/scans/(\\d+)/sidecar";
    server.Get(sidecar, [this](const Request& request, Response& response) {
      if (const fs::path* scan = ScanOf(request, response)) SendFile(response, SidecarOf(*scan), "application/json");
    });
    server.Put(sidecar, [this](const Request& request, Response& response) { TakeSidecar(request, response); });
    server.Get(base + "run/(.+)",
               [this](const Request& request, Response& response) { SendOfRun(request.matches[1], response); });
    server.Get(base + "(.*)",
               [this](const Request& request, Response& response) { SendPage(request.matches[1], response); });
  }
};

PageServer::PageServer(const fs::path& page, ViewedScans viewed) : m_parts(std::make_unique<Parts>()) {
  Parts& parts = *m_parts;
  parts.page = page;
  parts.viewed = std::move(viewed);
  parts.Route();
  const int port = parts.server.bind_to_any_port(kHost);
  if (port < 0) throw Failure(std::string("cannot listen on ") + kHost);
  parts.origin = std::string("http://") + kHost + ":" + std::to_string(port);
  parts.address = parts.origin + "/" + parts.word + "/";
  if (parts.viewed.run.empty())
    parts.address += "#scans"; // which the page then asks for
  else
    parts.address.append("run/").append(kReportFolder).append("/").append(kOverviewName);
}

PageServer::~PageServer() = default;

const std::string& PageServer::Address() const { return m_parts->address; }

void PageServer::Serve() {
  std::atomic<bool> ended = false;
  std::thread watch([&] {
    // A server that does not run yet cannot be stopped.
    while (!ended && !(IsInterrupted() && m_parts->server.is_running())) std::this_thread::sleep_for(kLook);
    m_parts->server.stop();
  });
  const bool served = m_parts->server.listen_after_bind();
  ended = true;
  watch.join();
  if (!served && !IsInterrupted()) throw Failure("the page cannot be served any more");
}
