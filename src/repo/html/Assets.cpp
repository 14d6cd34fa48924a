#include "repo/html/Assets.hpp"

namespace bex::repo {

const char* const kStyleSheet = R"(:root { color-scheme: light dark; --line: #8884; --faint: #777; --link: #06c; }
@media (prefers-color-scheme: dark) { :root { --link: #6bf; --faint: #999; } }
body { font: 16px/1.5 system-ui, sans-serif; max-width: 64rem; margin: 0 auto; padding: 1rem; }
h1 { font-size: 1.6rem; margin: .5rem 0; } h2 { font-size: 1.2rem; margin: 1.5rem 0 .5rem; }
a { color: var(--link); text-decoration: none; } a:hover, a:focus { text-decoration: underline; }
pre, code { font: 14px/1.45 ui-monospace, monospace; }
pre { border: 1px solid var(--line); border-radius: 6px; padding: .7rem; overflow-x: auto; white-space: pre-wrap; }
.table { overflow-x: auto; } table { border-collapse: collapse; width: 100%; }
th, td { text-align: left; padding: .3rem .8rem .3rem 0; border-bottom: 1px solid var(--line); vertical-align: top; }
th { color: var(--faint); font-weight: 600; font-size: .9rem; }
td:not(.digest):not(:last-child) { white-space: nowrap; }
dt { font-weight: 600; } dd { margin: 0 0 .5rem 1.5rem; overflow-wrap: anywhere; }
.faint { color: var(--faint); font-size: .9rem; } ul.files { columns: 2 22rem; padding-left: 1.2rem; }
ul.files li { overflow-wrap: anywhere; } .digest { overflow-wrap: anywhere; font-size: .8rem; }
input { font: inherit; width: 100%; box-sizing: border-box; padding: .5rem .8rem; border: 1px solid var(--line);
  border-radius: 6px; margin: .5rem 0; }
)";

const char* const kScript = R"("use strict";
const search = document.getElementById("search");
if (search) {
  const count = document.getElementById("count");
  const rows = [...document.querySelectorAll("#packages tbody tr")].map(row => [row, row.textContent.toLowerCase()]);
  const filter = () => {
    const words = search.value.toLowerCase().split(/\s+/).filter(word => word);
    let shown = 0;
    for (const [row, text] of rows) {
      row.hidden = !words.every(word => text.includes(word));
      shown += row.hidden ? 0 : 1;
    }
    count.textContent = shown + " of " + rows.length + " packages";
  };
  search.value = new URLSearchParams(location.search).get("q") || "";
  search.hidden = false;
  search.addEventListener("input", filter);
  filter();
}
for (const place of document.querySelectorAll(".address")) {
  if (place.dataset.fixed === undefined) place.textContent = new URL(".", location.href).href.replace(/\/$/, "");
}
)";

}  // namespace bex::repo
