// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace uwbctl {

/**
 * The style of a report page. The eight colours of peers are told apart by the colour-blind and,
 * for the most part, in grey.
 */
inline constexpr char kReportStyle[] = R"css(
:root{--bg:#fff;--ink:#1b1f24;--soft:#59636e;--grid:#e4e8ec;--base:#8b949e;--note:#fff6df;
--p0:#0072b2;--p1:#d55e00;--p2:#009e73;--p3:#aa3377;--p4:#e69f00;--p5:#56b4e9;--p6:#7a4a1e;--p7:#444;
--l1:#fdc9a5;--l2:#f08a4b;--l3:#c8501c;--l4:#7a2100;color-scheme:light dark}
@media screen and (prefers-color-scheme:dark){:root{--bg:#14181d;--ink:#e6eaef;--soft:#9aa5b1;
--grid:#2a3138;--base:#67717c;--note:#3a3115;--p0:#4ba3e0;--p1:#ff8a3d;--p2:#2fc79a;--p3:#e07bb5;
--p4:#ffc04d;--p5:#8ed0f5;--p6:#c4946a;--p7:#c5ccd3;--l1:#6b3717;--l2:#b35a26;--l3:#ee8447;--l4:#ffd0ae}}
*{box-sizing:border-box}
html{-webkit-text-size-adjust:100%}
body{margin:0;background:var(--bg);color:var(--ink);font:16px/1.5 system-ui,-apple-system,"Segoe UI",
Roboto,"Helvetica Neue","Liberation Sans",Arial,sans-serif}
main{max-width:932px;overflow-x:clip;margin:0 auto;padding:40px 16px 56px}
h1,h2,p,dl,dd,figure{margin:0}
.kicker{color:var(--soft);font-size:14px;letter-spacing:.02em}
h1{font-size:34px;line-height:1.2;font-weight:650;letter-spacing:-.015em;margin:2px 0 6px;
overflow-wrap:anywhere}
.lead{font-size:18px;color:var(--soft)}
dl.facts{display:grid;grid-template-columns:repeat(auto-fit,minmax(150px,1fr));gap:16px 24px;
margin-top:24px;padding:16px 0;border:solid var(--grid);border-width:1px 0}
dt{font-size:13px;color:var(--soft)}
dd{overflow-wrap:anywhere}
.note{margin-top:16px;padding:10px 14px;background:var(--note);border-left:3px solid var(--p4)}
section{margin-top:44px}
h2{font-size:20px;line-height:1.3;font-weight:650;letter-spacing:-.005em}
.none{color:var(--soft);margin-top:8px}
table{width:100%;border-collapse:collapse;margin-top:12px;font-variant-numeric:tabular-nums}
th,td{padding:7px 0 7px 16px;text-align:right;border-bottom:1px solid var(--grid);white-space:nowrap}
th:first-child,td:first-child{text-align:left;padding-left:0}
thead th{font-size:13px;font-weight:500;color:var(--soft);vertical-align:bottom;line-height:1.25;
border-color:var(--base)}
thead small{display:block;font-size:12px}
tbody th{font-weight:600}
.worst{font-weight:650}
.mark,.mark.p0{color:var(--c);fill:var(--c)}
.legend{display:flex;flex-wrap:wrap;gap:2px 16px;margin-top:4px;font-size:14px}
figure{display:flow-root}
svg{display:block;font-size:13px;font-variant-numeric:tabular-nums;overflow:visible}
svg text{fill:var(--ink)}
svg .tick,svg .axis{fill:var(--soft)}
.chart{width:calc(100% - 116px);margin:34px 72px 50px 44px}
.chart.upper{margin-bottom:12px}
.upper+.chart{margin-top:12px}
.chart.strip{margin-top:14px}
.grid{stroke:var(--grid);fill:none;vector-effect:non-scaling-stroke}
.base{stroke:var(--base)}
.event{stroke:var(--soft);stroke-dasharray:3 3}
.line{stroke:var(--c);stroke-width:1.75;fill:none;stroke-linejoin:round;stroke-linecap:round}
.line,.spots,.bar,.lost,.track{vector-effect:non-scaling-stroke}
.line.dash{stroke-dasharray:7 5}
.dot{fill:var(--c)}
.area{fill:var(--c);opacity:.16}
.bar{fill:var(--c);stroke:var(--bg);stroke-width:1}
.bar.all{fill:var(--base)}
.lost,.track{shape-rendering:crispEdges}
.track{fill:var(--grid);opacity:.7}
.halo{paint-order:stroke;stroke:var(--bg);stroke-width:4px;stroke-linejoin:round}
.halo.label{font-weight:600}
.plan,.plan svg{overflow:hidden}
.plan{width:100%;max-width:680px;height:auto;margin:16px auto 0}
.plan .at{overflow:visible}
.leader{stroke:var(--soft)}
.spots{stroke:var(--c);stroke-width:4;stroke-linecap:round;opacity:.3}
.first{fill:var(--bg);stroke:var(--c);stroke-width:2}
.last{fill:var(--c);stroke:var(--bg);stroke-width:1.5}
.radio{fill:var(--ink)}
figcaption,.small{font-size:14px;color:var(--soft);margin-top:8px}
.plan+figcaption{max-width:680px;margin:12px auto 0}
.keys span{white-space:nowrap}
.key{display:inline-block;width:12px;height:12px;margin:0 4px 0 8px;vertical-align:-1px}
.two{display:grid;grid-template-columns:1fr 1fr;gap:0 24px}
.two .chart{width:calc(100% - 56px);margin-right:12px}
.p0{--c:var(--p0)}.p1{--c:var(--p1)}.p2{--c:var(--p2)}.p3{--c:var(--p3)}
.p4{--c:var(--p4)}.p5{--c:var(--p5)}.p6{--c:var(--p6)}.p7{--c:var(--p7)}
.l1{fill:var(--l1);background:var(--l1)}.l2{fill:var(--l2);background:var(--l2)}
.l3{fill:var(--l3);background:var(--l3)}.l4{fill:var(--l4);background:var(--l4)}
.parameters{columns:2;column-gap:32px;margin-top:10px}
.parameters div{display:flex;justify-content:space-between;gap:16px;break-inside:avoid;padding:3px 0;
border-bottom:1px solid var(--grid);font-size:14px}
.parameters dd{text-align:right}
footer{margin-top:36px;font-size:13px;color:var(--soft)}
@media screen and (max-width:700px){
main{padding-top:24px}
h1{font-size:28px}
.lead{font-size:16px}
dl.facts{grid-template-columns:1fr 1fr;gap:12px 16px}
section{margin-top:36px}
.two{grid-template-columns:1fr}
.parameters{columns:1}
thead{position:absolute;clip-path:inset(50%);width:1px;height:1px;overflow:hidden}
table,tbody,tr{display:block}
tbody tr{display:grid;grid-template-columns:1fr 1fr;gap:0 24px;padding:12px 0;
border-bottom:1px solid var(--base)}
tbody th,td{display:flex;justify-content:space-between;padding:4px 0!important;font-size:15px}
tbody th{grid-column:1/-1;border:0}
td::before{content:attr(data-name);color:var(--soft)}
}
@media print{
@page{margin:15mm}
body{font-size:10.5pt;-webkit-print-color-adjust:exact;print-color-adjust:exact}
main{max-width:none;padding:0}
section{margin-top:26px}
figure,tr,dl.facts,.note{break-inside:avoid}
h2{break-after:avoid}
.plan{max-width:560px}
h1{font-size:22pt}
.lead{font-size:12pt}
dl.facts{grid-template-columns:repeat(5,auto);margin-top:14px;padding:10px 0}
th,td{padding-top:4px;padding-bottom:4px}
}
)css";

}  // namespace uwbctl
