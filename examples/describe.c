/* What the library says of itself, as Markdown: docs/evidence.md is its output. */
#include <stdio.h>

#include "zep3.h"

static const char* AnalysesText(int64_t analyses) {
  const int64_t positive = 1 << ZEP3_ANALYSIS_POSITIVE;
  const int64_t colour = 1 << ZEP3_ANALYSIS_NEGATIVE;
  const int64_t monochrome = 1 << ZEP3_ANALYSIS_NEGATIVE_BW;
  if (analyses == (positive | colour | monochrome)) return "all";
  if (analyses == positive) return "prints, slides";
  if (analyses == colour) return "colour negatives";
  if (analyses == monochrome) return "monochrome negatives";
  if (analyses == 1 << ZEP3_ANALYSIS_PAGE) return "documents";
  return "negatives";
}

int main(void) {
  puts("# What the library tells\n");
  puts("Written by `examples/describe.c` from the tables in the library: `GetZEP3Kind`, `GetZEP3Reason` and");
  puts("`GetZEP3EvidenceItem` give the same to programs.\n");

  puts("## Kinds of original\n\n| kind | what was scanned | default analysis |\n|---|---|---|");
  const ZEP3_KIND* kind;
  for (int64_t i = 0; (kind = GetZEP3Kind(i)) != NULL; i++) {
    printf("| `%s` | %s | %s |\n", kind->pName, kind->pText, kind->wAdaptive ? "adaptive" : "standard");
  }

  puts("\n## Reasons\n\n| code | it means |\n|---|---|");
  const ZEP3_REASON* reason;
  for (int64_t i = 0; (reason = GetZEP3Reason(i)) != NULL; i++) {
    printf("| `%s` | %s |\n", reason->pCode, reason->pSentence);
  }

  puts("\n## Measurements\n\n| name | | unit | numbers | what it tells | of |\n|---|---|---|---|---|---|");
  const ZEP3_EVIDENCE_ITEM* item;
  for (int64_t i = 0; (item = GetZEP3EvidenceItem(i)) != NULL; i++) {
    printf("| `%s` | %s | %s | %d | %s | %s |\n", item->pName, item->pLabel, item->pUnit, (int)item->lCount,
           item->pText, AnalysesText(item->lAnalyses));
  }
  return 0;
}
