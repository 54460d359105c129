#include "tools/toppage.h"

#include "tools/pagestyle.h"

namespace vnt {

static constexpr const char *style = R"(
.charts { display:grid; grid-template-columns:repeat(auto-fill,minmax(min(24rem,100%),1fr));
  gap:1rem .75rem }
.chart b { font-weight:600; font-variant-numeric:tabular-nums }
.chart div { display:flex; flex-wrap:wrap; gap:0 1rem; color:var(--soft); font-size:.9rem;
  margin-bottom:.3rem }
.chart div span:first-child { color:var(--ink); margin-right:auto }
.chart svg { display:block; width:100%; height:9rem; background:var(--card);
  border:1px solid var(--line); border-radius:.5rem }
.chart text { fill:var(--soft); font:12px system-ui,sans-serif }
.grid { stroke:var(--line) }
i { display:inline-block; width:.65rem; height:.65rem; border-radius:50%; margin-right:.4rem }
.serving { fill:var(--best); background:var(--best) }
.parked { fill:var(--bound); background:var(--bound) }
.orphan, .handshake { fill:var(--mark); background:var(--mark) }
.ended { fill:var(--line); background:var(--line) }
td, th { white-space:nowrap }
.number { text-align:right; font-variant-numeric:tabular-nums }
.client { white-space:normal; width:100% }
td.client { overflow-wrap:anywhere }
.past svg { display:block; width:7.5rem; height:1.4rem; margin-left:auto }
.past path { opacity:.25 }
.past .load { opacity:.8; fill:var(--ink) }
.gone td { color:var(--soft) }
.trouble { color:var(--mark) }
@media (max-width:48rem) {
  body { padding:1.25rem .9rem 2rem }
  thead, td.for, td.idle, td.traffic { display:none }
  tr { display:grid; grid-template-columns:auto 1fr auto; gap:0 .75rem; padding:.45rem 0;
    border-bottom:1px solid var(--line);
    grid-template-areas:"id state load" "client client memory" "past past past" }
  td { border:0; padding:0 }
  td.id { grid-area:id } td.state { grid-area:state } td.load { grid-area:load }
  td.client { grid-area:client } td.memory { grid-area:memory } td.past { grid-area:past }
  .past svg { width:100%; margin-top:.3rem }
}
)";

static constexpr const char *body = R"(
<h1 id="title">vntworker</h1>
<p id="about">Waiting for the server.</p>
<p id="trouble" class="trouble"></p>
<div class="figures" id="figures"></div>
<h2>The last hour</h2>
<div class="charts" id="charts"></div>
<h2>Workers</h2>
<p id="none">There are no workers.</p>
<table id="table"><thead><tr><th>Worker</th><th>State</th><th class="number">For</th>
<th class="client">Client</th><th class="number">Idle</th><th class="number">In</th>
<th class="number">Out</th><th class="number">CPU</th><th class="number">Memory</th>
<th>Last hour</th></tr></thead><tbody id="workers"></tbody></table>
<h2></h2>
)";

// What the server's clients say goes into texts only, never into markup.
static constexpr const char *script = R"(
'use strict';
const at = id => document.getElementById(id);
function fill(element, names, parts) {
  for (const name in names) element.setAttribute(name, names[name]);
  element.append(...parts);
  return element;
}
const make = (tag, names, ...parts) => fill(document.createElement(tag), names, parts);
const draw = (tag, names, ...parts) =>
  fill(document.createElementNS('http://www.w3.org/2000/svg', tag), names, parts);

function span(s) {
  s = Math.floor(s);
  const two = n => String(n).padStart(2, '0');
  if (s < 60) return s + ' s';
  if (s < 3600) return Math.floor(s / 60) + ':' + two(s % 60) + ' min';
  if (s < 360000) return Math.floor(s / 3600) + ':' + two(Math.floor(s / 60) % 60) + ' h';
  return Math.floor(s / 86400) + ' days';
}
function amount(bytes) {
  let unit = 0;
  for (; bytes >= 999.5 && unit < 5; unit++) bytes /= 1024;
  const digits = bytes < 9.95 && unit > 0 ? 1 : 0;
  return bytes.toFixed(digits) + ' ' + ['B', 'KiB', 'MiB', 'GiB', 'TiB', 'PiB'][unit];
}
const percent = load => load === null ? '' : Math.round(100 * load) + ' %';
const plain = value => value < 10 ? String(Math.round(10 * value) / 10) : value.toFixed(0);

// A round number that is not below the value.
function ceiling(value, bytes) {
  let power = 1;
  const steps = bytes ? [1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1024] : [1, 1.5, 2, 3, 4, 6, 8, 10];
  const base = bytes ? 1024 : 10;
  while (power * base < value) power *= base;
  return power * steps.find(step => step * power >= value);
}

const left = 58, bottom = 20, top_ = 8, right = 10;

// Where times and values stand in a drawing; `high` is the value at its upper edge.
function scales(data, svg, high) {
  const width = svg.clientWidth, height = svg.clientHeight, down = height - bottom;
  return {width, height, high,
    x: time => left + (1 - (data.now - time) / 3600) * (width - left - right),
    y: value => down - value / high * (down - top_)};
}

function legend(title, value, series) {
  const line = make('div', {}, make('span', {}, title + ' ', make('b', {}, value)));
  if (series.length > 1)
    for (const one of series) line.append(make('span', {}, make('i', {class: one.kind}), one.name));
  return line;
}

function grid(data, scale, form) {
  const {x, y, width, height, high} = scale;
  const values = [0, .5, 1].map(part => part * high).flatMap(value => [
    draw('line', {class: 'grid', x1: left, x2: width - right, y1: y(value), y2: y(value)}),
    draw('text', {x: left - 6, y: y(value) + 4, 'text-anchor': 'end'}, form(value))]);
  const time = (minutes, anchor, text) =>
    draw('text', {x: x(data.now - 60 * minutes), y: height - 5, 'text-anchor': anchor}, text);
  return [...values, time(60, 'start', '60 min'), time(40, 'middle', '40 min'),
    time(20, 'middle', '20 min'), time(0, 'end', 'now')];
}

// Adds the series to `floor`, on which it stands; samples far apart leave a gap.
function area(data, {x, y}, one, floor) {
  let path = '';
  data.samples.forEach((sample, i) => {
    const before = i > 0 ? data.samples[i - 1][0] : 0;
    const begin = Math.max(before, sample[0] - 3 * data.period, data.now - 3600);
    const low = y(floor[i]).toFixed(1);
    floor[i] += one.value(sample);
    if (one.value(sample) > 0)
      path += `M${x(begin).toFixed(1)} ${low}V${y(floor[i]).toFixed(1)}H${(x(sample[0]) + .3).toFixed(1)}V${low}z`;
  });
  return draw('path', {class: one.kind, d: path});
}

// Series are stacked, the first one at the bottom.
function chart(data, title, series, form, least, bytes) {
  const sum = sample => series.reduce((all, one) => all + one.value(sample), 0);
  const last = data.samples[data.samples.length - 1];
  const svg = draw('svg', {role: 'img', 'aria-label': title + ' over the last hour'});
  const value = last && data.server ? form(sum(last)) : '';
  at('charts').append(make('div', {class: 'chart'}, legend(title, value, series), svg));
  const high = ceiling(Math.max(least, ...data.samples.map(sum)), bytes);
  const scale = scales(data, svg, high), floor = data.samples.map(() => 0);
  svg.append(...grid(data, scale, form), ...series.map(one => area(data, scale, one, floor)));
}

function figure(name, value) {
  at('figures').append(make('div', {class: 'figure'}, make('span', {}, name), make('b', {}, value)));
}
const total = counts => Object.values(counts).reduce((sum, count) => sum + count, 0);

const states = {s: 'serving', p: 'parked', o: 'orphan', h: 'handshake'};
// A bar a minute: its ground is the worker's state, its height the load.
function past(data, worker, high) {
  const svg = draw('svg', {viewBox: '0 0 60 20', preserveAspectRatio: 'none'});
  const first = Math.floor(data.now / data.stretch) - 59, grounds = {};
  let loads = '';
  for (const [number, load, state] of worker.past) {
    const minute = number - first;
    if (minute < 0) continue;
    grounds[state] = (grounds[state] || '') + `M${minute} 0h1.03v20h-1.03z`;
    loads += `M${minute + .1} 20v${(-19 * Math.min(load / high, 1) - .5).toFixed(1)}h.8V20z`;
  }
  for (const state in grounds) svg.append(draw('path', {class: states[state], d: grounds[state]}));
  svg.append(draw('path', {class: 'load', d: loads}));
  return svg;
}

function row(data, worker, high) {
  const cell = (kind, ...parts) => make('td', {class: kind}, ...parts);
  const gone = worker.state === 'ended';
  return make('tr', {class: gone ? 'gone' : ''},
    cell('id', String(worker.id)),
    cell('state', make('i', {class: worker.state}), worker.state),
    cell('number for', span(worker.for)),
    cell('client', worker.client),
    cell('number idle', gone ? '' : span(worker.idle)),
    cell('number traffic', amount(worker.in)),
    cell('number traffic', amount(worker.out)),
    cell('number load', gone ? '' : percent(worker.load)),
    cell('number memory', gone || worker.memory === null ? '' : amount(worker.memory)),
    cell('past', past(data, worker, high)));
}

function show_server(data) {
  const server = data.server, last = data.samples[data.samples.length - 1];
  document.title = at('title').textContent = 'vntworker at ' + server.address;
  at('about').textContent = `version ${server.version}, process ${server.pid}, up ` +
    span(server.uptime_seconds) + (server.draining ? ', ends with its last worker' : '');
  figure('Serving', last[1]);
  figure('Parked', last[2]);
  figure('Processors busy', plain(last[4]));
  figure('Memory', amount(last[5]));
  figure('Connections', server.accepted);
  figure('Refused', total(server.refused));
}

function show_charts(data) {
  const of = (index, kind, name) => ({name, kind, value: sample => sample[index]});
  chart(data, 'Workers',
    [of(1, 'serving', 'serving'), of(2, 'parked', 'parked'), of(3, 'orphan', 'others')], plain, 2);
  chart(data, 'Processors', [of(4, 'serving')], plain, 2);
  chart(data, 'Memory', [of(5, 'parked')], amount, 1 << 20, true);
  chart(data, 'Bytes a second', [of(6, 'serving', 'in'), of(7, 'parked', 'out')], amount, 1 << 10, true);
}

// The busiest workers come first, those that have ended last.
function show_workers(data) {
  const gone = worker => worker.state === 'ended';
  const all = data.workers.slice().sort((a, b) =>
    gone(a) - gone(b) || (gone(a) ? a.for - b.for : b.load - a.load || a.id - b.id));
  const high = Math.max(1, ...all.flatMap(worker => worker.past.map(stretch => stretch[1])));
  at('workers').append(...all.map(worker => row(data, worker, high)));
  at('table').hidden = all.length === 0;
  at('none').hidden = all.length > 0;
}

let known = null;
function show() {
  for (const id of ['figures', 'charts', 'workers']) at(id).replaceChildren();
  at('trouble').textContent = known.trouble && 'The server does not answer: ' + known.trouble;
  if (known.server) show_server(known);
  show_charts(known);
  show_workers(known);
}

async function look() {
  try {
    const answer = await fetch('data', {cache: 'no-store'});
    known = await answer.json();
    show();
  } catch (error) {
    at('trouble').textContent = 'vnttop does not answer.';
  }
  setTimeout(look, 1000 * (known ? known.period : 2));
}
addEventListener('resize', () => known && show());
look();
)";

std::string top_page()
{
    return std::string("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width\">\n"
                       "<title>vntworker</title>\n<link rel=\"icon\" href=\"data:,\">\n<style>") +
           page_style + style + "</style>\n</head>\n<body>" + body +
           "<p>vnttop " VNT_VERSION "</p>\n<script>" + script + "</script>\n</body>\n</html>\n";
}

} // namespace vnt
