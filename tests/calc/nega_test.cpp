// The calculators of negatives; their numbers stand in the golden rows.
#include <gtest/gtest.h>

#include "engine/film/histogram_print.h"
#include "film_bench.h"

namespace {

// A gray wedge prints gray, by the standard analysis; left as they are, the lamp would give a cast of 70 levels, the
// faded dyes more.
TEST(NegaPrint, AGrayWedgePrintsGray) {
  const struct {
    const char* why;
    int type, subMode;
    double mean;
    int largest; // display levels between the channels
    void (*change)(ScannedFilm&);
  } rows[] = {
      {"daylight", 0, 0, 6, 16, [](ScannedFilm&) {}},
      {"incandescent light", 0, 0, 18, 26, [](ScannedFilm& f) { f.light[0] += 0.22, f.light[2] -= 0.31; }},
      {"two faded dyes", 0, 2, 8, 24, [](ScannedFilm& f) { f.kept[0] = 0.6, f.kept[2] = 0.7, f.stain[2] = 0.15; }},
      {"monochrome, faded", 3, 2, 6, 16, [](ScannedFilm& f) { StainFilm(f), f.kept[0] = f.kept[1] = f.kept[2] = 0.6; }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    ScannedFilm film;
    row.change(film);
    const Print print(*Scan(film, {}, Wedge), false, row.type, row.subMode);
    const Cast cast(print, film);
    EXPECT_LE(cast.mean, row.mean);
    EXPECT_LE(cast.largest, row.largest);
    // White is white, black is black, and mid gray (18 %) lies where a picture's does.
    EXPECT_GE(print.At(film, 0.0, 1), 205);
    EXPECT_LE(print.At(film, -kRange, 1), 40);
    EXPECT_NEAR(print.At(film, -0.745, 1), 118, 25);
  }
}

// The dense end takes both of its fractions: the second can lack where statistics are put together by hand.
TEST(NegaCalculators, ADenseEndThatIsNotThereIsPutBelowTheClearOne) {
  CHIST hist;
  for (int c = 0; c < 3; c++) {
    hist.m_pdHistMax[0][c] = hist.m_pdHistMax[1][c] = 200.0;
    hist.m_pdHistMin[0][c] = hist.m_pdHistMin[1][c] = 20.0;
  }
  hist.m_pdHistMin[1][1] = 11.0; // below the lowest level counted in green
  hist.m_pdHistMin[0][2] = 7.0;  // and in blue
  const FilmEnds ends = MeasureFilmEnds(hist, ZEP3_DOC_NEGATIVE, 0.1, 0.7);
  EXPECT_NEAR(ends.dense[0], std::log10(20.0), 1e-12);
  EXPECT_NEAR(ends.dense[1], std::log10(200.0) - 0.7, 1e-12);
  EXPECT_NEAR(ends.dense[2], std::log10(200.0) - 0.7, 1e-12);
}

TEST(NegaCalculators, OfTheMatrixOnlyTheDiagonalCounts) {
  const auto scan = Scan({}, {}, Wedge);
  const auto points = [&](double(&&matrix)[9]) { return Print(*scan, false, 0, 0, 4, matrix).r.Points(); };
  const auto own = points({1, 0, 0, 0, 1, 0, 0, 0, 1});
  EXPECT_EQ(points({1.00004, -0.3, NAN, 0.2, 1, 5, 1e300, 0, 0.99996}), own);
  const auto alike = points({0.9, 0, 0, 0, 0.9, 0, 0, 0, 0.9});
  EXPECT_NE(alike, own);
  EXPECT_EQ(points({}), alike);
  EXPECT_EQ(points({NAN, 0, 0, 0, 1, 0, 0, 0, 1}), alike);
}

} // namespace
