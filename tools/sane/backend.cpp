// A backend of SANE that stands before any other: "zep3:DEVICE" is DEVICE with its scans corrected.
#include <dlfcn.h>
#include <sane/saneopts.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <set>
#include <vector>

#include "device.h"
#include "own_options.h"
#include "prescan.h"
#include "scanned_page.h"

// The library of backends finds these by name.
#define ZEP3_SANE extern "C" __attribute__((visibility("default")))

namespace {

// What the scanner would do to its values beside the correction.
constexpr const char* kTableOptions[] = {SANE_NAME_CUSTOM_GAMMA, SANE_NAME_GAMMA_VECTOR, SANE_NAME_GAMMA_VECTOR_R,
                                         SANE_NAME_GAMMA_VECTOR_G, SANE_NAME_GAMMA_VECTOR_B};
constexpr int64_t kAtOnce = 256 << 10; // bytes of lines that are corrected together

// Black and white, and what is no pixels, is handed on as it comes.
bool IsCorrectable(const SANE_Parameters& frame) { return frame.depth != 1 && FaultOfFrame(frame).empty(); }

// Documents are evened by their place, for which they are looked at as they are.
bool IsEvened(const ZEP3_KIND& kind) {
  return kind.wDocType == ZEP3_DOC_REFLECTIVE &&
         (kind.wSubMode == ZEP3_SUB_DOCUMENT || kind.wSubMode == ZEP3_SUB_BACKGROUND_REMOVAL ||
          kind.wSubMode == ZEP3_SUB_GROUND_COLOR_REMOVAL);
}

// A page's pixels, or some lines of it.
ZEP3_BmpInfo ImageOf(uint8_t* pixels, int64_t width, int64_t lines, int channels, int depth) {
  ZEP3_BmpInfo image;
  SetZEP3Image(&image, pixels, width, lines, 0, channels == 1 ? ZEP3_PIXEL_GRAY : ZEP3_PIXEL_RGB,
               depth == 8 ? ZEP3_BITS_8 : ZEP3_BITS_16);
  return image;
}

// The parameter record with the tone curves that it points to.
struct Correction {
  ZEP3_PARA para;
  ZEP3_TONE master, rgb[3];

  explicit Correction(const OwnOptions& options) {
    ResetZEP3(&para, &master, rgb);
    options.Describe(para);
  }
  Correction(const Correction&) = delete;
  Correction& operator=(const Correction&) = delete;
};

// An open scanner behind this backend.
class Corrected {
 public:
  Corrected(const SaneLibrary& sane, const std::string& name) : m_device(sane, name) {
    if (m_device.Settable(SANE_NAME_CUSTOM_GAMMA) != 0) m_device.SetText(SANE_NAME_CUSTOM_GAMMA, "no");
    CountOptions();
  }

  const SANE_Option_Descriptor* Descriptor(SANE_Int option);
  SANE_Status Control(SANE_Int option, SANE_Action action, void* value, SANE_Int* info);
  SANE_Parameters Parameters();
  void Start();
  SANE_Status Read(SANE_Byte* data, SANE_Int room, SANE_Int& count);
  void Cancel();

 private:
  // How the present page goes through.
  enum class Way {
    kAsItComes, // also while nothing is scanned
    kLines,     // corrected as they come, decided by a pre-scan
    kPage       // whole in here
  };

  void CountOptions();
  bool IsTable(SANE_Int option) const;
  bool Cancelled() const { return m_cancelled; }
  void Decide(ScannedPage& low);
  void FinishPage();
  SANE_Parameters ScannersParameters() const;
  SANE_Parameters ToOurs(SANE_Parameters frame) const;
  bool FillLines();

  Device m_device;
  OwnOptions m_own;
  SANE_Int m_scanners = 0; // options of the scanner, which come first
  std::map<SANE_Int, SANE_Option_Descriptor> m_shown;

  Way m_way = Way::kAsItComes;
  std::atomic<bool> m_cancelled = false;
  ScannedPage m_page;
  int64_t m_given = 0; // bytes of the page, or of the lines

  SANE_Parameters m_frame = {};  // of the scanner, while lines come
  std::vector<uint16_t> m_table; // as of MakeZEP3ScanLUT
  double m_chroma = 1;
  std::vector<uint8_t> m_in, m_lines; // as they come; corrected, to be given
  size_t m_filled = 0;                // of what comes
};

void Corrected::CountOptions() {
  m_device.Sane().controlOption(m_device.Handle(), 0, SANE_ACTION_GET_VALUE, &m_scanners, nullptr);
}

bool Corrected::IsTable(SANE_Int option) const {
  const SANE_Option_Descriptor* const descriptor = m_device.Descriptor(option);
  return descriptor != nullptr && descriptor->name != nullptr &&
         std::any_of(std::begin(kTableOptions), std::end(kTableOptions),
                     [&](const char* name) { return std::strcmp(name, descriptor->name) == 0; });
}

const SANE_Option_Descriptor* Corrected::Descriptor(SANE_Int option) {
  if (option >= m_scanners) return m_own.Descriptor(option - m_scanners);
  const SANE_Option_Descriptor* const theirs = m_device.Descriptor(option);
  if (theirs == nullptr || !IsTable(option)) return theirs;
  SANE_Option_Descriptor& shown = m_shown[option];
  shown = *theirs;
  shown.cap |= SANE_CAP_INACTIVE;
  return &shown;
}

SANE_Status Corrected::Control(SANE_Int option, SANE_Action action, void* value, SANE_Int* info) {
  if (option >= m_scanners) return m_own.Control(option - m_scanners, action, value, info);
  if (option == 0 && action == SANE_ACTION_GET_VALUE && value != nullptr) {
    const SANE_Int count = m_scanners + OwnOptions::kCount;
    std::memcpy(value, &count, sizeof count);
    return SANE_STATUS_GOOD;
  }
  if (IsTable(option)) return SANE_STATUS_INVAL;
  SANE_Int told = 0;
  const SANE_Status status = m_device.Sane().controlOption(m_device.Handle(), option, action, value, &told);
  if ((told & SANE_INFO_RELOAD_OPTIONS) != 0) CountOptions();
  if (info != nullptr) *info = told;
  return status;
}

SANE_Parameters Corrected::ScannersParameters() const {
  SANE_Parameters frame = {};
  m_device.Check(m_device.Sane().getParameters(m_device.Handle(), &frame));
  return frame;
}

// Colours come in one frame, lines without gaps.
SANE_Parameters Corrected::ToOurs(SANE_Parameters frame) const {
  if (m_own.Kind() == nullptr || !IsCorrectable(frame)) return frame;
  if (IsColourFrame(frame.format)) {
    frame.format = SANE_FRAME_RGB;
    frame.last_frame = SANE_TRUE;
  }
  frame.bytes_per_line = frame.pixels_per_line * (frame.format == SANE_FRAME_RGB ? 3 : 1) * (frame.depth / 8);
  return frame;
}

SANE_Parameters Corrected::Parameters() {
  // After a scan, which ends with a call of cancel, they are those of the next.
  if (m_way == Way::kAsItComes || Cancelled()) return ToOurs(ScannersParameters());
  if (m_way == Way::kLines) return ToOurs(m_frame);
  return {m_page.channels == 3 ? SANE_FRAME_RGB : SANE_FRAME_GRAY,
          SANE_TRUE,
          static_cast<SANE_Int>(m_page.BytesPerLine()),
          static_cast<SANE_Int>(m_page.width),
          static_cast<SANE_Int>(m_page.lines),
          m_page.depth};
}

// Tables for the scan by what lies on the scanner.
void Corrected::Decide(ScannedPage& low) {
  Correction correction(m_own);
  ZEP3_EVIDENCE evidence;
  const ZEP3_BmpInfo image = ImageOf(low.Line(0), low.width, low.lines, low.channels, low.depth);
  m_table.resize(size_t{3} * (low.depth == 8 ? 256 : 65536));
  const auto entries = static_cast<int64_t>(m_table.size() / 3);
  if (!FinishZEP3(&image, m_own.ValueGamma(), m_own.Adaptive(), &correction.para, nullptr, &evidence)) {
    const char* const why = CheckZEP3(ZEP3_CALL_FINISH, &image, &correction.para, nullptr);
    throw ScannerFault(why != nullptr ? why : "not enough memory", SANE_STATUS_NO_MEM);
  }
  m_chroma = GetZEP3Chroma(&correction.para);
  const bool adaptive = evidence.lAnalysis != ZEP3_ANALYSIS_STANDARD;
  const int64_t gamma = GetZEP3ScanGamma(m_own.ValueGamma(), adaptive, &correction.para);
  if (!MakeZEP3ScanLUT(&correction.para, nullptr, gamma, entries, m_table.data())) throw std::bad_alloc();
  m_own.TellFound(&evidence);
}

void Corrected::FinishPage() {
  Correction correction(m_own);
  ZEP3_EVIDENCE evidence;
  const ZEP3_BmpInfo image = ImageOf(m_page.Line(0), m_page.width, m_page.lines, m_page.channels, m_page.depth);
  // A page that the library refuses, of a few pixels, is handed on as it is.
  const bool done = FinishZEP3(&image, m_own.ValueGamma(), m_own.Adaptive(), &correction.para, nullptr, &evidence) == 1;
  m_own.TellFound(done ? &evidence : nullptr);
}

void Corrected::Start() {
  m_way = Way::kAsItComes;
  m_cancelled = false;
  m_given = 0;
  m_filled = 0;
  m_in.clear();
  m_lines.clear();
  m_page.Clear();
  const SaneLibrary& sane = m_device.Sane();
  const auto stops = [this] { return Cancelled(); };
  SANE_Parameters frame = {};
  const bool told = sane.getParameters(m_device.Handle(), &frame) == SANE_STATUS_GOOD;
  bool looked = false;
  // The frames of three passes make a page only together, which is then decided as a whole.
  const bool lines = told && IsCorrectable(frame) && !IsColourFrame(frame.format);
  if (m_own.Kind() != nullptr && lines && !m_own.WholePages() && !IsEvened(*m_own.Kind()) &&
      (m_own.AlwaysPrescan() || LooksTwice(m_device))) {
    m_device.Cancel(); // the page before
    ScannedPage low;
    looked = TakeLowPage(m_device, low, stops) && low.depth == frame.depth;
    if (looked) Decide(low);
  }
  if (Cancelled()) throw ScannerFault("cancelled", SANE_STATUS_CANCELLED);
  m_device.Check(sane.start(m_device.Handle()));
  if (m_own.Kind() == nullptr) return;
  frame = ScannersParameters();
  if (!IsCorrectable(frame)) {
    m_own.TellFound(nullptr);
    return;
  }
  const auto entries = static_cast<size_t>(frame.depth == 8 ? 256 : 65536);
  if (looked && !IsColourFrame(frame.format) && m_table.size() == 3 * entries) {
    m_frame = frame;
    m_in.resize(static_cast<size_t>(std::max<int64_t>(1, kAtOnce / frame.bytes_per_line) * frame.bytes_per_line));
    m_way = Way::kLines;
    return;
  }
  ReadStartedPage(m_device, m_page, nullptr, stops);
  FinishPage();
  m_way = Way::kPage;
}

// Gets the next lines and corrects them. False at the page's end.
bool Corrected::FillLines() {
  const auto line = static_cast<size_t>(m_frame.bytes_per_line);
  while (m_filled < line) {
    SANE_Int count = 0;
    const SANE_Status status = m_device.Sane().read(m_device.Handle(), m_in.data() + m_filled,
                                                    static_cast<SANE_Int>(m_in.size() - m_filled), &count);
    if (status == SANE_STATUS_EOF) return false;
    m_device.Check(status);
    if (Cancelled()) throw ScannerFault("cancelled", SANE_STATUS_CANCELLED);
    m_filled += static_cast<size_t>(std::max(count, 0));
  }
  const size_t lines = m_filled / line;
  const auto ours = static_cast<size_t>(ToOurs(m_frame).bytes_per_line);
  m_lines.resize(lines * ours);
  for (size_t i = 0; i < lines; i++) std::memcpy(m_lines.data() + i * ours, m_in.data() + i * line, ours);
  std::memmove(m_in.data(), m_in.data() + lines * line, m_filled - lines * line);
  m_filled -= lines * line;
  const ZEP3_BmpInfo piece = ImageOf(m_lines.data(), m_frame.pixels_per_line, static_cast<int64_t>(lines),
                                     m_frame.format == SANE_FRAME_GRAY ? 1 : 3, m_frame.depth);
  if (!ApplyZEP3ScanLUT(&piece, m_table.data(), m_chroma)) throw std::bad_alloc();
  m_given = 0;
  return true;
}

SANE_Status Corrected::Read(SANE_Byte* data, SANE_Int room, SANE_Int& count) {
  count = 0;
  if (m_way == Way::kAsItComes) return m_device.Sane().read(m_device.Handle(), data, room, &count);
  if (Cancelled()) return SANE_STATUS_CANCELLED;
  const uint8_t* from = m_page.lines > 0 ? m_page.Line(0) : nullptr;
  int64_t there = m_page.lines * m_page.BytesPerLine();
  if (m_way == Way::kLines) {
    if (m_given == static_cast<int64_t>(m_lines.size()) && !FillLines()) return SANE_STATUS_EOF;
    from = m_lines.data();
    there = static_cast<int64_t>(m_lines.size());
  }
  if (m_given == there) return SANE_STATUS_EOF;
  count = static_cast<SANE_Int>(std::min<int64_t>(std::max(room, 0), there - m_given));
  std::memcpy(data, from + m_given, static_cast<size_t>(count));
  m_given += count;
  return SANE_STATUS_GOOD;
}

// Also from a signal's handler or another thread, in the middle of Start.
void Corrected::Cancel() {
  m_cancelled = true;
  m_device.CancelFromOutside();
}

// ---- what all devices share ----

// Stays started until the process ends: some libraries behind the backends of scanners do not survive a second start.
SaneLibrary* library = nullptr;
std::set<Corrected*> scanners; // that are open

// The list that was asked for last; it stays until the next.
struct Listed {
  std::vector<DeviceName> names;
  std::vector<SANE_Device> devices;
  std::vector<const SANE_Device*> list = {nullptr};
} listed;

// The copy of libsane that is loaded behind this backend has the backend in its own list.
bool IsBehindItself() {
  Dl_info where;
  void* map = nullptr;
  Lmid_t space = LM_ID_BASE;
  const bool known = ::dladdr1(reinterpret_cast<void*>(&IsBehindItself), &where, &map, RTLD_DL_LINKMAP) != 0 &&
                     ::dlinfo(map, RTLD_DI_LMID, &space) == 0;
  return known && space != LM_ID_BASE;
}

const SaneLibrary& Library() {
  if (IsBehindItself()) throw ScannerFault("zep3 stands before itself", SANE_STATUS_INVAL);
  if (library == nullptr) library = new SaneLibrary(SaneLibrary::Names::kOwn);
  return *library;
}

// Faults become statuses.
template <typename Work>
SANE_Status Guard(Work work) {
  try {
    return work();
  } catch (const ScannerFault& fault) {
    return fault.Status();
  } catch (const std::bad_alloc&) {
    return SANE_STATUS_NO_MEM;
  } catch (const std::exception&) {
    return SANE_STATUS_IO_ERROR;
  }
}

Corrected* Of(SANE_Handle handle) {
  auto* const scanner = static_cast<Corrected*>(handle);
  return scanners.contains(scanner) ? scanner : nullptr;
}

} // namespace

ZEP3_SANE SANE_Status sane_zep3_init(SANE_Int* version, SANE_Auth_Callback) {
  if (version != nullptr) *version = SANE_VERSION_CODE(SANE_CURRENT_MAJOR, SANE_CURRENT_MINOR, 0);
  return SANE_STATUS_GOOD;
}

ZEP3_SANE void sane_zep3_exit() {
  for (Corrected* scanner : scanners) delete scanner;
  scanners.clear();
  listed = {};
}

ZEP3_SANE SANE_Status sane_zep3_get_devices(const SANE_Device*** list, SANE_Bool localOnly) {
  return Guard([&] {
    listed = {};
    *list = listed.list.data();
    if (IsBehindItself()) return SANE_STATUS_GOOD;
    listed.names = ListDevices(Library(), localOnly == SANE_TRUE);
    for (DeviceName& name : listed.names) {
      name.model += ", corrected";
      listed.devices.push_back({name.name.c_str(), name.vendor.c_str(), name.model.c_str(), name.type.c_str()});
    }
    listed.list.clear();
    for (const SANE_Device& device : listed.devices) listed.list.push_back(&device);
    listed.list.push_back(nullptr);
    *list = listed.list.data();
    return SANE_STATUS_GOOD;
  });
}

ZEP3_SANE SANE_Status sane_zep3_open(SANE_String_Const name, SANE_Handle* handle) {
  return Guard([&] {
    const SaneLibrary& sane = Library();
    std::string device = name;
    if (device.empty()) {
      const std::vector<DeviceName> devices = ListDevices(sane, false);
      if (devices.empty()) return SANE_STATUS_INVAL;
      device = devices.front().name;
    }
    auto scanner = std::make_unique<Corrected>(sane, device);
    scanners.insert(scanner.get());
    *handle = scanner.release();
    return SANE_STATUS_GOOD;
  });
}

ZEP3_SANE void sane_zep3_close(SANE_Handle handle) {
  Corrected* const scanner = Of(handle);
  scanners.erase(scanner);
  delete scanner;
}

ZEP3_SANE const SANE_Option_Descriptor* sane_zep3_get_option_descriptor(SANE_Handle handle, SANE_Int option) {
  Corrected* const scanner = Of(handle);
  return scanner == nullptr || option < 0 ? nullptr : scanner->Descriptor(option);
}

ZEP3_SANE SANE_Status sane_zep3_control_option(SANE_Handle handle, SANE_Int option, SANE_Action action, void* value,
                                               SANE_Int* info) {
  if (info != nullptr) *info = 0;
  Corrected* const scanner = Of(handle);
  if (scanner == nullptr || option < 0) return SANE_STATUS_INVAL;
  return Guard([&] { return scanner->Control(option, action, value, info); });
}

ZEP3_SANE SANE_Status sane_zep3_get_parameters(SANE_Handle handle, SANE_Parameters* parameters) {
  Corrected* const scanner = Of(handle);
  if (scanner == nullptr) return SANE_STATUS_INVAL;
  return Guard([&] {
    const SANE_Parameters now = scanner->Parameters();
    if (parameters != nullptr) *parameters = now;
    return SANE_STATUS_GOOD;
  });
}

ZEP3_SANE SANE_Status sane_zep3_start(SANE_Handle handle) {
  Corrected* const scanner = Of(handle);
  if (scanner == nullptr) return SANE_STATUS_INVAL;
  return Guard([&] {
    scanner->Start();
    return SANE_STATUS_GOOD;
  });
}

ZEP3_SANE SANE_Status sane_zep3_read(SANE_Handle handle, SANE_Byte* data, SANE_Int room, SANE_Int* count) {
  SANE_Int unwanted = 0;
  SANE_Int& read = count != nullptr ? *count : unwanted;
  read = 0;
  Corrected* const scanner = Of(handle);
  if (scanner == nullptr || data == nullptr) return SANE_STATUS_INVAL;
  return Guard([&] { return scanner->Read(data, room, read); });
}

ZEP3_SANE void sane_zep3_cancel(SANE_Handle handle) {
  if (Corrected* const scanner = Of(handle)) scanner->Cancel();
}

// A read waits for the scanner.
ZEP3_SANE SANE_Status sane_zep3_set_io_mode(SANE_Handle, SANE_Bool nonBlocking) {
  return nonBlocking == SANE_TRUE ? SANE_STATUS_UNSUPPORTED : SANE_STATUS_GOOD;
}

ZEP3_SANE SANE_Status sane_zep3_get_select_fd(SANE_Handle, SANE_Int*) { return SANE_STATUS_UNSUPPORTED; }
