// Any bytes as a TIFF file through all that the program does to such files itself: layouts, plain lines, the carrying
// of tags, the appending and the rewriting of pages. Each refuses with a reason or gives a file that reads again.
#include <filesystem>
#include <fstream>
#include <string>

#include "failure.h"
#include "folder.h"
#include "plain_tiff.h"
#include "target.h"
#include "tiff_pages.h"

namespace fs = std::filesystem;

void RunTarget(Input input) {
  static const Folder folder;
  static const std::string scan = folder / "scan.tif", result = folder / "result.tif";
  const std::string_view bytes = input.Text();
  std::ofstream(scan, std::ios::binary) << bytes;

  std::vector<TiffLayout> layouts;
  if (!IsTaken<Failure>([&] { layouts = ReadTiffLayouts(scan); })) return;
  const auto pages = static_cast<unsigned>(std::min<size_t>(3, layouts.size()));
  for (unsigned page = 0; page < pages; page++) {
    PlainShape shape = {0, 0, 0, false};
    IsTaken<Failure>([&] {
      const auto lines = PlainLines::Open(scan, page);
      if (lines == nullptr) return;
      shape = {lines->Samples() / lines->Bands(), lines->Height(), lines->Bands(), lines->IsDeep()};
      int64_t count = 0;
      lines->Read(0, lines->Height(), [&](uint8_t* first, int64_t now) {
        ZEP3_HOLDS(now > 0);
        std::fill_n(first, now * lines->LineBytes(), uint8_t{0});
        count += now;
      });
      ZEP3_HOLDS(count == lines->Height());
    });
    fs::remove(result);
    const bool rewritten = IsTaken<Failure>([&] {
      int64_t pixels = 0;
      const auto change = [&](uint8_t*, int64_t count) { pixels += count; };
      if (!RewritePlainTiff(scan, page, result, shape, change, [](double) { return true; })) return;
      ZEP3_HOLDS(pixels == shape.width * shape.height);
      const std::vector<TiffLayout> written = ReadTiffLayouts(result);
      ZEP3_HOLDS(written.size() == 1 && written[0].samplesPerPixel == shape.bands);
    });
    fs::remove(result);
    const bool appended = IsTaken<Failure>([&] {
      AppendTiffPage(scan, page, result, false);
      AppendTiffPage(scan, page, result, false, true);
      ZEP3_HOLDS(ReadTiffLayouts(result).size() == 2);
    });
    // A page without a usable directory is written again by nobody.
    if (rewritten || appended) IsTaken<Failure>([&] { CopyTiffTags(scan, page, result); });
  }
}
