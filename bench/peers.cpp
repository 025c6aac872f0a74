#include "peers.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/zep3.h"
#include "pairs.h"
#include "scans.h"
#include "support.h"

#ifdef ZEP3_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef ZEP3_BENCH_VIPS
#include <vips/vips8>
#endif
#ifdef ZEP3_BENCH_LCMS
#include <lcms2.h>
#endif

namespace {

// Measures and corrects a scan: the analysis, the tables, and the pixels through them in place.
struct Ours {
  Scan scan;
  Record record;
  uint8_t table[768] = {};

  explicit Ours(const Size& size) : scan(size) {}

  void Analyse() { ZEP3(&scan.bmp, &record.para, nullptr); }
  void Finish() {
    MakeZEP3LUT(&record.para, table);
    ApplyZEP3LUT(&scan.bmp, table);
  }
  void Whole() {
    Analyse();
    Finish();
  }
};

[[maybe_unused]] void AddPeer(const std::string& peer, void (Ours::*ours)(), const std::string& what,
                              std::function<Work(std::shared_ptr<Ours>)> make) {
  for (const auto& [name, size] : {std::pair{"12 MP", kTwelveMegapixels}, std::pair{"100 MP", kHundredMegapixels}}) {
    const Size sides = size;
    AddRow(what + ", " + name, peer, "zep3", {}, [=] {
      auto scan = std::make_shared<Ours>(sides);
      return Sides{[=] { (*scan.*ours)(); }, make(scan), ""};
    });
  }
}

} // namespace

void AddPeers() {
  [[maybe_unused]] const std::string whole = "analysis, tables and applying them";
#ifdef ZEP3_BENCH_OPENCV
  AddPeer("OpenCV calcHist and LUT", &Ours::Whole, whole, [](const std::shared_ptr<Ours>& ours) {
    cv::setNumThreads(1);
    const ZEP3_BmpInfo& bmp = ours->scan.bmp;
    const cv::Mat image(static_cast<int>(bmp.lHeight), static_cast<int>(bmp.lWidth), CV_8UC3, bmp.pBits);
    ours->Whole();
    cv::Mat tables(1, 256, CV_8UC3);
    for (int i = 0; i < 256; i++) {
      tables.at<cv::Vec3b>(i) = {ours->table[i], ours->table[256 + i], ours->table[512 + i]};
    }
    auto result = std::make_shared<cv::Mat>();
    return Work([=] {
      const int size = 256;
      const float levels[2] = {0, 256};
      const float* ranges = levels;
      for (int channel = 0; channel < 3; channel++) {
        cv::Mat histogram;
        cv::calcHist(&image, 1, &channel, cv::noArray(), histogram, 1, &size, &ranges);
      }
      cv::LUT(image, tables, *result);
    });
  });
#endif
#ifdef ZEP3_BENCH_VIPS
  AddPeer("libvips hist_find and maplut", &Ours::Whole, whole, [](const std::shared_ptr<Ours>& ours) {
    VIPS_INIT("zep3_bench");
    vips_concurrency_set(1);
    vips_cache_set_max(0);
    ours->Whole();
    std::vector<uint8_t> interleaved(768);
    for (size_t i = 0; i < 768; i++) interleaved[i] = ours->table[i % 3 * 256 + i / 3];
    const vips::VImage tables =
        vips::VImage::new_from_memory(interleaved.data(), interleaved.size(), 256, 1, 3, VIPS_FORMAT_UCHAR)
            .copy_memory();
    auto result = std::make_shared<std::vector<uint8_t>>(static_cast<size_t>(ours->scan.Bytes()));
    return Work([=] {
      const ZEP3_BmpInfo& bmp = ours->scan.bmp;
      const auto wrapped = [&](uint8_t* memory) {
        return vips::VImage::new_from_memory(memory, static_cast<size_t>(ours->scan.Bytes()),
                                             static_cast<int>(bmp.lWidth), static_cast<int>(bmp.lHeight), 3,
                                             VIPS_FORMAT_UCHAR);
      };
      const vips::VImage image = wrapped(bmp.pBits);
      size_t size = 0;
      g_free(image.hist_find().write_to_memory(&size));
      image.maplut(tables).write(wrapped(result->data()));
    });
  });
#endif
#ifdef ZEP3_BENCH_LCMS
  AddPeer("Little CMS tone curves and transform", &Ours::Finish, "tables and applying them",
          [](const std::shared_ptr<Ours>& ours) {
            ours->Whole();
            auto result = std::make_shared<std::vector<uint8_t>>(static_cast<size_t>(ours->scan.Bytes()));
            return Work([=] {
              cmsToneCurve* curves[3];
              for (int c = 0; c < 3; c++) {
                uint16_t levels[256];
                for (int i = 0; i < 256; i++) levels[i] = static_cast<uint16_t>(257 * ours->table[256 * c + i]);
                curves[c] = cmsBuildTabulatedToneCurve16(nullptr, 256, levels);
              }
              cmsHPROFILE link = cmsCreateLinearizationDeviceLink(cmsSigRgbData, curves);
              cmsHTRANSFORM transform =
                  cmsCreateMultiprofileTransform(&link, 1, TYPE_RGB_8, TYPE_RGB_8, INTENT_PERCEPTUAL, 0);
              const ZEP3_BmpInfo& bmp = ours->scan.bmp;
              cmsDoTransform(transform, bmp.pBits, result->data(), static_cast<uint32_t>(bmp.lWidth * bmp.lHeight));
              cmsDeleteTransform(transform);
              cmsCloseProfile(link);
              cmsFreeToneCurveTriple(curves);
            });
          });
#endif
}
