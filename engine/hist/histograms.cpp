// The histograms of the image as it is.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "engine/common/record.h"
#include "engine/hist/chist.h"
#include "engine/image/sampling.h"

namespace {

// Compares all fields but the trailing padding.
bool IsSame(const ZEP3_BmpInfo& a, const ZEP3_BmpInfo& b) {
  return std::memcmp(&a, &b, offsetof(ZEP3_BmpInfo, wPixelFormat) + sizeof a.wPixelFormat) == 0;
}

} // namespace

bool CHIST::MakeHistogram(ZEP3_BmpInfo* image, int margin, ZEP3_PARA* para) {
  if (image == nullptr) return false;
  std::copy_n(Unshrunk(image->area).rect, 4, m_nAreaRect);
  if (!CalcLineEquation(&image->area, margin) || image->lBitCount != 24) return false;

  std::memset(m_nHist, 0, sizeof m_nHist);
  std::memset(m_nHistOrg, 0, sizeof m_nHistOrg);
  std::memset(m_nHistSum, 0, sizeof m_nHistSum);
  m_nPixelCount = 0;

  const auto count = [this](int r, int g, int b) {
    m_nHist[0][r]++;
    m_nHist[1][g]++;
    m_nHist[2][b]++;
    m_nHistSum[r + g + b]++;
  };
  if (DocType(*para) == ZEP3_DOC_NEGATIVE) {
    if (!KeepSamples(*image)) return false;
    for (size_t i = 0; i < m_samples.size(); i += 3) count(m_samples[i], m_samples[i + 1], m_samples[i + 2]);
    m_nPixelCount = static_cast<int32_t>(m_samples.size() / 3);
  } else {
    const AreaSampler sampler(Area(), *image, IsNegative(*para) ? m_nSampleTargetNega : m_nSampleTargetPosi);
    if (!sampler.IsReadable()) return false;
    m_nPixelCount = static_cast<int32_t>(sampler.VisitSamples(count, m_companion));
  }
  if (m_nPixelCount < 1) return false;
  std::memcpy(m_nHistOrg, m_nHist, sizeof m_nHist);
  return true;
}

bool CHIST::KeepSamples(const ZEP3_BmpInfo& image) {
  if (!m_samples.empty() && m_nSampledTarget == m_nSampleTargetNega && IsSame(m_sampledImage, image)) return true;
  m_samples.clear();
  m_nSampledTarget = m_nSampleTargetNega;
  m_sampledImage = image;
  const AreaSampler sampler(Area(), image, m_nSampledTarget);
  if (!sampler.IsReadable()) return false;
  m_samples.reserve(static_cast<size_t>(std::max(0, m_nSampledTarget)) * 6); // pixel by pixel twice the target
  const auto keep = [this](int r, int g, int b) {
    m_samples.insert(m_samples.end(), {static_cast<uint8_t>(r), static_cast<uint8_t>(g), static_cast<uint8_t>(b)});
  };
  sampler.VisitSamples(keep, m_companion);
  return true;
}
