/** How the page looks. What colour tells, words and shapes tell too. */
#pragma once

namespace Explain {

/** Nothing may come from elsewhere. */
inline constexpr char PAGE_META[] =
    R"(<meta charset="utf-8"><meta name="viewport" content="width=device-width">)"
    R"(<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">)";

inline constexpr char PAGE_STYLE[] = R"css(
:root { color-scheme: light dark; --lane: 6.5rem; --rule: color-mix(in srgb, currentColor 22%, transparent); }
body { font: 1rem/1.45 system-ui, sans-serif; max-width: 78rem; margin: 0 auto; padding: 1rem; }
h1, h2 { line-height: 1.2; }
section { margin-top: 2.5rem; }
.words { padding: .2rem 0; }
.outcome { font-weight: bold; border: 2px solid; border-radius: .3rem; padding: 0 .4rem; }
.failed { color: #b3261e; } .success { color: #1b6e32; } .unfinished { color: #8a5a00; }
@media (prefers-color-scheme: dark) { .failed { color: #ff8a80; } .success { color: #7bd88f; } .unfinished { color: #ffc266; } }
.row { display: grid; grid-template-columns: 1rem 7.5rem calc(4 * var(--lane)) 1fr; gap: 0 .6rem; align-items: center; }
.heads { position: sticky; top: 0; background: Canvas; border-bottom: 1px solid var(--rule); font-size: .85rem; z-index: 1; }
.names { display: flex; } .names span { width: var(--lane); text-align: center; font-weight: bold; }
summary { cursor: pointer; list-style: none; }
summary::-webkit-details-marker { display: none; }
summary::before { content: "\25B8"; } [open] > summary::before { content: "\25BE"; }
summary:hover { background: color-mix(in srgb, currentColor 7%, transparent); }
.time { font: .8rem ui-monospace, monospace; }
.lanes { position: relative; align-self: stretch; min-height: 2.1rem;
  background: repeating-linear-gradient(90deg, transparent 0 calc(var(--lane) / 2),
    var(--rule) calc(var(--lane) / 2) calc(var(--lane) / 2 + 1px), transparent calc(var(--lane) / 2 + 1px) var(--lane)); }
.arrow { position: absolute; top: calc(50% - 1px); left: calc(var(--lane) * (var(--low) + .5));
  width: calc(var(--lane) * var(--span)); border-top: 2px solid; }
.concluded .arrow { border-top-style: dashed; }
.right::after, .left::after { content: ""; position: absolute; top: -6px; border: 5px solid transparent; }
.right::after { right: 0; border-left: 9px solid; border-right: 0; } .left::after { left: 0; border-right: 9px solid; border-left: 0; }
.self { width: .7rem; height: .7rem; margin: -.35rem 0 0 -.35rem; border: 2px solid; border-radius: 50%; background: Canvas; }
.fault .arrow::before { content: "\2715"; position: absolute; left: calc(50% - .5rem); top: -.9rem; font-weight: bold; background: Canvas; }
.fault .words { font-weight: bold; }
.who { font-size: .8rem; display: block; }
.inside { margin: .2rem 0 1rem 1.6rem; border-left: 3px solid var(--rule); padding-left: .8rem; overflow-x: auto; }
pre { font: .8rem/1.4 ui-monospace, monospace; margin: .5rem 0; white-space: pre-wrap; overflow-wrap: anywhere; }
table { border-collapse: collapse; } th, td { text-align: left; padding: .15rem .8rem .15rem 0; border-bottom: 1px solid var(--rule); }
@media (max-width: 60rem) { :root { --lane: 4.2rem; } .row { grid-template-columns: 1rem 5.5rem 1fr; }
  .lanes, .names { grid-column: 3; } .words { grid-column: 2 / -1; padding-bottom: .4rem; } }
)css";

}  // namespace Explain
