// Straight lines that may be a side of the picture's window, and what can be said for and against each stretch of them.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/window/level_map.h"

// On which side of a line the surroundings would be.
enum class Outside { kBefore, kBehind };

// How lines are looked for; lengths in cells of the map.
struct LineSearch {
  double slopeStep;  // between neighbouring slopes, cells across for each row
  int slopes;        // to either side of upright
  int most;          // lines of one kind that are kept
  int leastVotes;    // rows' worth of full votes that a line must have
  double distance;   // from a line to where its inside and outside are looked at
  double sameMiddle; // lines as close in their middle ...
  double sameEnds;   // ... and at their ends are one
};

// Where the levels change from row to row of the map least, and across them most: the edges that upright lines run
// along.
struct EdgeMap {
  struct Edge {
    int16_t shift;   // 1/256 cell from the cell's middle
    uint8_t vote[2]; // 0..255 by Outside: a clear step to an even outside has a full one
  };
  int across = 0;
  std::vector<Edge> edges; // as the cells of the map
  const Edge& At(int a, int l) const {
    return edges[static_cast<size_t>(l) * static_cast<size_t>(across) + static_cast<size_t>(a)];
  }
};
EdgeMap FindEdges(const LevelMap& map);

// Sums over the rows from the first on; shares count 255 a row.
struct RowSums {
  int32_t seen = 0;     // rows whose outside lies within the map
  int32_t vote = 0;     // of the edges on the line
  int32_t contrast = 0; // between inside and outside
  int32_t evenOut = 0;  // outside like that of the row before
  int32_t evenIn = 0;   // likewise inside
  int32_t darker = 0;   // inside nowhere lighter than outside
  int32_t lighter = 0;  // inside nowhere darker
  int32_t groundOut = 0;
  int32_t groundIn = 0;
  int32_t level[3] = {};  // outside, sixteenths of levels
  int64_t square = 0;     // of these, all channels
  int32_t inside[3] = {}; // likewise inside
  int64_t insideSquare = 0;
};

struct Line {
  double at = 0.0;           // place in the middle row: cells, whole numbers are middles
  double slope = 0.0;        // cells across for each row
  bool border = false;       // the scan's own edge, which tells nothing
  std::vector<RowSums> sums; // one more than there are rows

  double At(double row, double middle) const { return at + slope * (row - middle); }
};

// The lines with most votes, most first, each settled on its edges and measured.
std::vector<Line> FindLines(const LevelMap& map, const EdgeMap& edges, Outside outside, const LineSearch& search);

// What a stretch of a line shows. Shares 0..1 of its rows.
struct SideTraits {
  bool border = true; // nothing to be seen: the scan ends here
  double rows = 0.0;
  double vote = 0.0;
  double contrast = 0.0;
  double evenOut = 0.0;
  double evenIn = 0.0;
  double oneWay = 0.0;   // inside nowhere lighter, or nowhere darker, whichever is more
  double beyond = 0.0;   // votes where the stretch is over
  double ground = 0.0;   // ground outside less ground inside
  double scatter = 0.0;  // levels, of the outside
  double level[3] = {};  // mean of the outside
  double inside[3] = {}; // mean of the inside
  double insideScatter = 0.0;
  double insideExtreme = 0.0; // as extreme, of the inside
  double extreme = 0.0;       // share of the window that is darker than the outside, or lighter, whichever is more
  double extremeOfAny = 0.0;  // the same, were the material any
};
SideTraits TraitsOf(const Line& line, double from, double to);
