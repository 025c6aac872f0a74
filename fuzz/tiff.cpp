// Any bytes as a TIFF file through all that the program does to such files itself: layouts, plain lines, the carrying
// of tags, the appending and the rewriting of pages. Each refuses with a reason or gives a file that reads again.
#include <filesystem>
#include <fstream>
#include <string>

#include "failure.h"
#include "folder.h"
#include "pending_file.h"
#include "plain_tiff.h"
#include "target.h"
#include "tiff_pages.h"

namespace fs = std::filesystem;

namespace {

// The layouts of a file that nothing was wrong with.
std::vector<TiffLayout> Written(PendingFile& file) {
  file.Check();
  file.Finish();
  ZEP3_HOLDS(file.Commit(true));
  return ReadTiffLayouts(file.Name());
}

} // namespace

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
    IsTaken<Failure>([&] {
      PendingFile file(result, PendingFile::Sync::kNo);
      int64_t pixels = 0;
      const auto change = [&](uint8_t*, int64_t count) { pixels += count; };
      if (!RewritePlainTiff(scan, page, file, shape, change, [](double) { return true; })) return;
      ZEP3_HOLDS(pixels == shape.width * shape.height);
      const std::vector<TiffLayout> written = Written(file);
      ZEP3_HOLDS(written.size() == 1 && written[0].samplesPerPixel == shape.bands);
    });
    IsTaken<Failure>([&] {
      PendingFile file(result, PendingFile::Sync::kNo);
      {
        TiffPageWriter writer(file, false);
        for (const bool strip : {false, true, false}) writer.Append(scan, page, strip);
      }
      CopyTiffTags(scan, page, file);
      ZEP3_HOLDS(Written(file).size() == 3);
    });
  }
}
