#pragma once

#include <string_view>

namespace bex::tool {

constexpr std::string_view kStyle = R"css(
:root { color-scheme: light dark; --line: #8886; --back: Canvas; --label: #111; }
body { font: 15px/1.45 system-ui, sans-serif; margin: 1.5rem auto; max-width: 1160px; padding: 0 1rem; }
h1 { font-size: 1.6rem; margin: 0 0 .3rem; } h2 { margin: 2.2rem 0 .5rem; }
h1, h2, td { overflow-wrap: anywhere; }
p.sub { margin: 0 0 1rem; opacity: .75; }
svg { display: block; width: 100%; height: auto; border: 1px solid var(--line); }
svg text { font: 11px system-ui, sans-serif; fill: var(--label); pointer-events: none; }
rect { stroke: #fffa; stroke-width: .7; } rect.d { stroke: #0007; } rect:hover { stroke: #000; stroke-width: 2; }
.legend { font-size: .85rem; margin: .4rem 0 0; }
.legend span { display: inline-block; padding: 0 .45em; color: var(--label); }
.c0, .k0 { fill: #7fb8e6; background: #7fb8e6; } .c1, .k1 { fill: #8fc3dd; background: #8fc3dd; }
.c2, .k2 { fill: #9ecdd3; background: #9ecdd3; } .c3, .k3 { fill: #afd6c6; background: #afd6c6; }
.c4, .k4 { fill: #c1ddb8; background: #c1ddb8; } .c5, .k5 { fill: #d5e2ab; background: #d5e2ab; }
.c6, .k6 { fill: #e8e3a1; background: #e8e3a1; } .c7, .k7 { fill: #f3d896; background: #f3d896; }
.c8, .k8 { fill: #f6c78b; background: #f6c78b; } .c9, .k9 { fill: #f4b383; background: #f4b383; }
.c10, .k10 { fill: #ef9d7e; background: #ef9d7e; }
table { border-collapse: collapse; margin: 1.4rem 0; width: 100%; }
caption { text-align: left; font-weight: 600; font-size: 1.05rem; padding: .2rem 0; }
th, td { text-align: left; vertical-align: top; padding: .18rem .7rem .18rem 0; border-bottom: 1px solid var(--line); }
td { white-space: pre-wrap; } th.n, td.n { text-align: right; }
td.n { font-variant-numeric: tabular-nums; white-space: nowrap; }
th button { all: unset; cursor: pointer; } th button:focus-visible { outline: 2px solid; }
th button::after { content: " \2195"; opacity: .4; }
input { font: inherit; margin-left: 1em; font-weight: 400; }
)css";

/// Only what the tables can do without.
constexpr std::string_view kScript = R"js(
"use strict";
const valueOf = (row, column) => {
    const cell = row.cells[column];
    return cell.classList.contains("n") ? parseFloat(cell.textContent) || 0 : cell.textContent;
};
const compare = (a, b) => typeof a === "number" ? a - b : a.localeCompare(b);
for (const table of document.querySelectorAll("table")) {
    const body = table.tBodies[0];
    if (body.rows.length < 10) {
        continue;
    }
    [...table.tHead.rows[0].cells].forEach((head, column) => {
        const button = document.createElement("button");
        button.textContent = head.textContent;
        let sign = body.rows[0].cells[column].classList.contains("n") ? -1 : 1;
        button.addEventListener("click", () => {
            const rows = [...body.rows];
            rows.sort((a, b) => sign * compare(valueOf(a, column), valueOf(b, column)));
            body.append(...rows);
            sign = -sign;
        });
        head.replaceChildren(button);
    });
    const filter = document.createElement("input");
    filter.type = "search";
    filter.placeholder = "filter";
    filter.setAttribute("aria-label", "filter");
    filter.addEventListener("input", () => {
        for (const row of body.rows) {
            row.hidden = !row.textContent.toLowerCase().includes(filter.value.toLowerCase());
        }
    });
    table.caption.append(filter);
}
)js";

}  // namespace bex::tool
