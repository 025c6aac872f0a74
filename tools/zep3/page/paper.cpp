// Cells as they are, or laid out anew between those that were.
#include "page/paper.h"

#include <algorithm>
#include <cmath>

namespace {

// The number of the cell at whose centre a place lies, or the part between two; beyond the outermost ones theirs.
double CellAt(double place, int64_t first, int64_t side, int64_t cells) {
  const double at = (place - static_cast<double>(first)) / static_cast<double>(side) - 0.5;
  return std::clamp(at, 0.0, static_cast<double>(cells - 1));
}

} // namespace

ZEP3_SURFACE PaperSurface::Record() const {
  ZEP3_SURFACE record = figures;
  record.pCells = const_cast<ZEP3_CELL*>(cells.data()); // read only by the calls that take a finished surface
  record.lRoom = static_cast<int64_t>(cells.size());
  return record;
}

std::array<double, 3> PaperSurface::GainAt(double x, double y) const {
  const double row = CellAt(y, figures.lTop, figures.lSide, figures.lRows);
  const double column = CellAt(x, figures.lLeft, figures.lSide, figures.lColumns);
  const auto at = [&](double r, double c) -> const ZEP3_CELL& {
    return cells[static_cast<size_t>(static_cast<int64_t>(r) * figures.lColumns + static_cast<int64_t>(c))];
  };
  const auto mix = [](double a, double b, double part) { return a + part * (b - a); };
  std::array<double, 3> gain;
  for (size_t c = 0; c < gain.size(); c++) {
    const auto gainAt = [&](double r, double col) { return static_cast<double>(at(r, col).fGain[c]); };
    const auto line = [&](double r) {
      return mix(gainAt(r, column), gainAt(r, std::ceil(column)), column - std::floor(column));
    };
    gain[c] = mix(line(row), line(std::ceil(row)), row - std::floor(row));
  }
  return gain;
}

PaperSurface PaperSurface::Scaled(int64_t width, int64_t height, double across, double down) const {
  if (across == 1 && down == 1) return *this;
  PaperSurface scaled;
  ZEP3_SURFACE& to = scaled.figures = figures;
  const auto whole = [](double length) { return static_cast<int64_t>(std::lround(length)); };
  to.lWidth = width;
  to.lHeight = height;
  to.lLeft = whole(static_cast<double>(figures.lLeft) * across);
  to.lTop = whole(static_cast<double>(figures.lTop) * down);
  to.lSide = std::max<int64_t>(1, whole(static_cast<double>(figures.lSide) * std::min(across, down)));
  const auto count = [&](int64_t before, double scale) {
    const double length = static_cast<double>(before * figures.lSide) * scale;
    return std::max<int64_t>(1, whole(length / static_cast<double>(to.lSide)));
  };
  to.lColumns = count(figures.lColumns, across);
  to.lRows = count(figures.lRows, down);
  for (int64_t row = 0; row < to.lRows; row++) {
    const double y = (static_cast<double>(to.lTop) + (static_cast<double>(row) + 0.5) * double(to.lSide)) / down;
    for (int64_t column = 0; column < to.lColumns; column++) {
      const double x =
          (static_cast<double>(to.lLeft) + (static_cast<double>(column) + 0.5) * double(to.lSide)) / across;
      const std::array<double, 3> gain = GainAt(x, y);
      const auto f = [&](size_t c) { return static_cast<float>(gain[c]); };
      const auto r = std::lround(CellAt(y, figures.lTop, figures.lSide, figures.lRows));
      const auto c = std::lround(CellAt(x, figures.lLeft, figures.lSide, figures.lColumns));
      const auto nearest = static_cast<size_t>(r * figures.lColumns + c);
      scaled.cells.push_back({{f(0), f(1), f(2)}, cells[nearest].lLies});
      if (!pictures.empty()) scaled.pictures.push_back(pictures[nearest]);
    }
  }
  return scaled;
}
