#include "told/compare_page.h"

#include <algorithm>

#include "told/html.h"
#include "told/report_style.h"

namespace {

constexpr std::string_view kCompareStyle = R"(<style>
.results { display: grid; grid-template-columns: repeat(auto-fill, minmax(16rem, 1fr)); gap: 1.5rem 1.25rem;
  align-items: start; margin: 1rem 0; }
.results figcaption { font-size: .875rem; margin-top: .5rem; }
.results .look { font-weight: 700; color: var(--ink); }
.results .scan { border-left: .375rem solid var(--ink); padding-left: .75rem; }
details { margin: 1rem 0; }
</style>
)";

// Only adds the buttons; without them a command is marked as a whole by a click.
constexpr std::string_view kCopyScript = R"(<script>
if (navigator.clipboard) document.querySelectorAll('.command').forEach(function (command) {
  var button = document.createElement('button');
  button.type = 'button';
  button.className = 'compare';
  button.style.margin = '.375rem 0 0';
  button.textContent = 'Copy';
  button.addEventListener('click', function () {
    navigator.clipboard.writeText(command.textContent).then(function () { button.textContent = 'Copied'; });
  });
  command.after(button);
});
</script>
)";

std::string Figure(const std::string& scan, const ComparedResult& result) {
  std::string caption = "<strong>" + Escape(result.kind) + "</strong>, " + Escape(result.text) + "; " +
                        Escape(result.analysis) + " analysis" + (result.best ? "" : ", not the usual one");
  if (!result.verdict.empty()) caption += "<br><span class=\"look\">" + Escape(result.verdict) + "</span>";
  caption += "<code class=\"command\">" + Escape(result.command) + "</code>";
  return PictureFigure(Bare(result.picture), scan + " as " + result.kind + ", " + result.analysis + " analysis",
                       caption);
}

} // namespace

std::string ComparedScan(const std::string& name, const vips::VImage& scan,
                         const std::vector<ComparedResult>& results) {
  const auto figures = [&](bool likely) {
    std::string html;
    for (const ComparedResult& result : results) html += result.likely == likely ? Figure(name, result) : "";
    return html;
  };
  std::string html = "<section>\n<h2>" + Escape(name) + "</h2>\n<div class=\"results\">\n<div class=\"scan\">\n" +
                     PictureFigure(Bare(scan), name + " as scanned", "<strong>As scanned</strong>") + "</div>\n" +
                     figures(true) + "</div>\n";
  const std::string unlikely = figures(false);
  if (!unlikely.empty()) {
    html += "<details>\n<summary>What the scan speaks against</summary>\n<div class=\"results\">\n" + unlikely +
            "</div>\n</details>\n";
  }
  return html + "</section>\n";
}

std::string ComparedFault(const std::string& name, const std::string& fault) {
  return "<section>\n<h2>" + Escape(name) + "</h2>\n<p>Could not be shown: " + Escape(fault) + "</p>\n</section>\n";
}

std::string ComparePage(const std::vector<std::string>& scans) {
  std::string html = PageHead(kSelfContained) + "<title>Which kind?</title>\n" + std::string(kStyle) +
                     std::string(kCompareStyle) +
                     "</head>\n<body>\n<header>\n<h1>Which kind?</h1>\n<p>The same scan finished as each kind of "
                     "original and by each analysis. Take the command below the picture that is right; it also holds "
                     "for other scans of the same kind.</p>\n</header>\n<main>\n";
  for (const std::string& scan : scans) html += scan;
  return html + "</main>\n" + std::string(kCopyScript) + "</body>\n</html>\n";
}
