// pagestyle.h: how our pages look: calm, dark where the reader wants it so, wide and narrow.

#pragma once

namespace vnt {

inline constexpr const char *page_style = R"(
:root { --ink:#1c2430; --soft:#5b6675; --line:#dde2e8; --paper:#ffffff; --card:#f6f8fa;
  --best:#0a7d55; --bound:#2f5fb3; --mark:#b3541e; }
@media (prefers-color-scheme: dark) { :root { --ink:#e6eaf0; --soft:#9aa6b5; --line:#333c48;
  --paper:#14181e; --card:#1c222a; --best:#43c592; --bound:#7aa5f0; --mark:#e8935c; } }
* { box-sizing:border-box }
body { margin:0 auto; max-width:62rem; padding:2rem 1.25rem 3rem; background:var(--paper);
  color:var(--ink); font:16px/1.5 system-ui,sans-serif; }
h1 { font-size:1.5rem; margin:0 0 .25rem; overflow-wrap:anywhere }
h2 { font-size:1.05rem; margin:2.25rem 0 .75rem }
p { margin:.25rem 0; color:var(--soft); overflow-wrap:anywhere }
.figures { display:grid; grid-template-columns:repeat(auto-fit,minmax(8.5rem,1fr)); gap:.75rem;
  margin-top:1.5rem }
.figure { background:var(--card); border:1px solid var(--line); border-radius:.5rem;
  padding:.75rem 1rem }
.figure b { display:block; font-size:1.2rem; font-weight:600; font-variant-numeric:tabular-nums;
  overflow-wrap:anywhere }
.figure span, th { color:var(--soft); font-size:.85rem; font-weight:400 }
table { border-collapse:collapse; width:100% }
th, td { text-align:left; padding:.3rem .75rem .3rem 0; border-bottom:1px solid var(--line);
  overflow-wrap:anywhere }
td:last-child, th:last-child { text-align:right; padding-right:0;
  font-variant-numeric:tabular-nums }
)";

} // namespace vnt
