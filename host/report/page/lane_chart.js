// SPDX-License-Identifier: Apache-2.0
// A drawing with a lane for each thing that has a state or events, over time; zoomed by dragging, keys, buttons and the
// wheel with Ctrl.
'use strict';

const LANE_HEIGHT = 24, AXIS_HEIGHT = 24, MOMENT_HEIGHT = 17, LEAST_SPAN_US = 20;

// lanes: {name, spans: [{from, to, color, text, tip}], marks: [{at, color, tall, tip}]}, both in the order of time.
// moments: [{at, text}] are named above the lanes. time(us) writes a time for the tip and the axis.
class LaneChart {
  constructor(place, {label, from, to, lanes, moments = [], zero = 0}) {
    Object.assign(this, {place, label, whole: [from, Math.max(to, from + LEAST_SPAN_US)], lanes, moments, zero});
    this.view = [...this.whole];
    this.bar = el('div', {class: 'bar'});
    this.range = el('span');
    for (const [sign, name, act] of [['+', 'Zoom in', () => this.zoom(0.5)], ['−', 'Zoom out', () => this.zoom(2)],
                                     ['‹', 'Earlier', () => this.pan(-0.5)], ['›', 'Later', () => this.pan(0.5)],
                                     ['Whole', 'Show everything', () => this.show(...this.whole)]]) {
      const button = el('button', {type: 'button', title: name, 'aria-label': name}, sign);
      button.addEventListener('click', act);
      this.bar.append(button);
    }
    this.bar.append(this.range, el('span', {}, 'Drag to zoom, double click for everything.'));
    this.svg = svg('svg', {role: 'img', tabindex: 0, 'aria-label': label});
    this.tip = el('div', {class: 'tip', hidden: ''});
    place.replaceChildren(this.bar, this.svg, this.tip);
    this.listen();
    this.draw();
    this.resized = onWidthChange(place, () => this.draw());
  }

  remove() { this.resized.disconnect(); }

  show(from, to) {
    const length = Math.min(Math.max(to - from, LEAST_SPAN_US), this.whole[1] - this.whole[0]);
    const start = Math.min(Math.max(from, this.whole[0]), this.whole[1] - length);
    this.view = [start, start + length];
    this.draw();
  }

  zoom(factor, around = (this.view[0] + this.view[1]) / 2) {
    this.show(around - (around - this.view[0]) * factor, around + (this.view[1] - around) * factor);
  }

  pan(share) {
    const by = (this.view[1] - this.view[0]) * share;
    this.show(this.view[0] + by, this.view[1] + by);
  }

  x(time) { return this.left + (time - this.view[0]) / (this.view[1] - this.view[0]) * (this.width - this.left - 8); }
  timeAt(x) { return this.view[0] + (x - this.left) / (this.width - this.left - 8) * (this.view[1] - this.view[0]); }

  draw() {
    this.width = widthOf(this.place);
    this.left = this.width < 640 ? 118 : 190;
    const [from, to] = this.view;
    const labels = this.placeMoments();
    this.top = labels.rows * MOMENT_HEIGHT + (labels.rows ? 6 : 4);
    const bottom = this.top + this.lanes.length * LANE_HEIGHT;
    const height = bottom + AXIS_HEIGHT;
    this.svg.setAttribute('viewBox', `0 0 ${this.width} ${height}`);
    const parts = [];
    const axis = fittingTicks(from - this.zero, to - this.zero, this.width - this.left - 8);
    for (const time of axis.at) {
      const x = this.x(time + this.zero), text = axis.text(time);
      parts.push(svg('line', {class: 'gridline', x1: x, x2: x, y1: this.top, y2: bottom}),
                 svg('text', {class: 'muted', x: Math.min(x, this.width - text.length * 3.4 - 2), y: bottom + 16, 'text-anchor': 'middle'}, text));
    }
    for (const {at, row} of labels.placed) {
      parts.push(svg('line', {class: 'moment', x1: this.x(at), x2: this.x(at), y1: row * MOMENT_HEIGHT + 4, y2: bottom}));
    }
    this.lanes.forEach((lane, index) => {
      const y = this.top + index * LANE_HEIGHT;
      parts.push(svg('line', {class: 'lane', x1: 0, x2: this.width, y1: y + LANE_HEIGHT, y2: y + LANE_HEIGHT}),
                 this.laneName(lane.name, y), ...this.spans(lane.spans || [], y), ...this.marks(lane.marks || [], y));
    });
    for (const {text, x, row} of labels.placed) {
      parts.push(svg('rect', {class: 'behind', x: x - 2, y: row * MOMENT_HEIGHT + 2, width: text.length * 6.6 + 4, height: MOMENT_HEIGHT - 2}),
                 svg('text', {x, y: row * MOMENT_HEIGHT + 14}, text));
    }
    this.selection = svg('rect', {class: 'selection', y: this.top, height: bottom - this.top, width: 0, visibility: 'hidden'});
    this.svg.replaceChildren(...parts, this.selection);
    this.range.textContent = [from, to].map(time => moment(time, to - from < 10 * MS ? 6 : 3)).join(' to ');
  }

  // The names of moments, in as many rows as they need.
  placeMoments() {
    const ends = [], placed = [];
    for (const {at, text} of this.moments) {
      if (at < this.view[0] || at > this.view[1]) continue;
      const wide = text.length * 6.6 + 14;
      const x = Math.min(this.x(at) + 4, this.width - wide);
      let row = ends.findIndex(end => end < x - 4);
      if (row < 0) row = ends.length;
      ends[row] = x + wide;
      placed.push({at, text, x, row});
    }
    return {placed, rows: ends.length};
  }

  // What is not to be seen of a long name is what other names begin with as well.
  laneName(name, y) {
    const most = Math.floor((this.left - 10) / 6.6);
    const short = name.includes('.') ? '…' + name.slice(-(most - 1)) : name.slice(0, most - 1) + '…';
    const shown = name.length > most ? short : name;
    return svg('text', {x: 8, y: y + 16}, svg('title', {}, name), shown);
  }

  // What is narrower than a pixel is drawn once a pixel.
  spans(spans, y) {
    const parts = [];
    let last = -1, lastColor = '';
    for (let index = firstAfter(spans, span => span.to, this.view[0]); index < spans.length; ++index) {
      const {from, to, color, text} = spans[index];
      if (from > this.view[1]) break;
      const x = this.x(Math.max(from, this.view[0]));
      const wide = Math.max(this.x(Math.min(to, this.view[1])) - x, 1.5);
      if (Math.floor(x) === last && wide <= 1.5 && color === lastColor) continue;
      [last, lastColor] = [Math.floor(x), color];
      parts.push(svg('rect', {x, y: y + 4, width: wide, height: LANE_HEIGHT - 7, rx: wide > 6 ? 3 : 0, fill: `var(--${color})`}));
      if (text && text.length * 6.8 + 10 < wide) {
        parts.push(svg('text', {class: color === 'pause' ? 'dark' : ['bound', 'wait'].includes(color) ? '' : 'within', x: x + 6, y: y + 16.5}, text));
      }
    }
    return parts;
  }

  marks(marks, y) {
    const parts = [];
    const columns = new Map();
    for (let index = firstAfter(marks, mark => mark.at, this.view[0]); index < marks.length; ++index) {
      if (marks[index].at > this.view[1]) break;
      const {at, color, tall} = marks[index];
      const key = `${Math.round(this.x(at))} ${color} ${tall ? 1 : 0}`;
      if (columns.has(key)) continue;
      columns.set(key, true);
      parts.push(tall ? svg('rect', {x: this.x(at) - 1.5, y: y + 3, width: 3, height: LANE_HEIGHT - 5, fill: `var(--${color})`}) :
                        svg('circle', {cx: this.x(at), cy: y + LANE_HEIGHT / 2 + .5, r: 3.2, fill: `var(--${color})`}));
    }
    return parts;
  }

  // What is under the pointer, the nearest first.
  near(x, y) {
    const lane = this.lanes[Math.floor((y - this.top) / LANE_HEIGHT)];
    if (!lane || x < this.left) return [];
    const time = this.timeAt(x), reach = (this.view[1] - this.view[0]) / (this.width - this.left) * 5;
    const found = [];
    const marks = lane.marks || [];
    for (let index = firstAfter(marks, mark => mark.at, time - reach); index < marks.length && marks[index].at <= time + reach; ++index) {
      found.push({far: Math.abs(marks[index].at - time), tip: marks[index].tip});
    }
    const spans = lane.spans || [];
    for (let index = firstAfter(spans, span => span.to, time - reach); index < spans.length && spans[index].from <= time + reach; ++index) {
      found.push({far: reach, tip: spans[index].tip});
    }
    return found.sort((left, right) => left.far - right.far).map(one => one.tip);
  }

  listen() {
    const point = event => {
      const box = this.svg.getBoundingClientRect();
      const scale = this.width / box.width;
      return [(event.clientX - box.left) * scale, (event.clientY - box.top) * scale];
    };
    let dragFrom = null;
    this.svg.addEventListener('pointerdown', event => {
      const [x] = point(event);
      if (event.button !== 0 || x < this.left) return;
      dragFrom = x;
      this.svg.setPointerCapture(event.pointerId);
    });
    this.svg.addEventListener('pointermove', event => {
      const [x, y] = point(event);
      if (dragFrom !== null && Math.abs(x - dragFrom) > 4) {
        this.selection.setAttribute('x', Math.min(x, dragFrom));
        this.selection.setAttribute('width', Math.abs(x - dragFrom));
        this.selection.setAttribute('visibility', 'visible');
      }
      this.tell(this.near(x, y), event);
    });
    this.svg.addEventListener('pointerup', event => {
      const [x] = point(event);
      if (dragFrom !== null && Math.abs(x - dragFrom) > 4) this.show(this.timeAt(Math.min(x, dragFrom)), this.timeAt(Math.max(x, dragFrom)));
      dragFrom = null;
      this.selection.setAttribute('visibility', 'hidden');
    });
    this.svg.addEventListener('pointerleave', () => { this.tip.hidden = true; });
    this.svg.addEventListener('pointercancel', () => { dragFrom = null; this.selection.setAttribute('visibility', 'hidden'); });
    this.svg.addEventListener('dblclick', () => this.show(...this.whole));
    this.svg.addEventListener('wheel', event => {
      if (!event.ctrlKey && !event.metaKey) return;
      event.preventDefault();
      this.zoom(event.deltaY > 0 ? 1.25 : 0.8, this.timeAt(point(event)[0]));
    }, {passive: false});
    const keys = {'+': () => this.zoom(0.5), '=': () => this.zoom(0.5), '-': () => this.zoom(2), '0': () => this.show(...this.whole),
                  ArrowLeft: () => this.pan(-0.2), ArrowRight: () => this.pan(0.2)};
    this.svg.addEventListener('keydown', event => {
      if (!keys[event.key] || event.ctrlKey || event.metaKey || event.altKey) return;
      event.preventDefault();
      keys[event.key]();
    });
  }

  tell(tips, event) {
    this.tip.hidden = tips.length === 0;
    if (tips.length === 0) return;
    const most = 8;
    this.tip.replaceChildren(...tips.slice(0, most).map(text => el('div', {}, text)),
                             ...(tips.length > most ? [el('div', {}, `and ${tips.length - most} more`)] : []));
    const box = this.place.getBoundingClientRect();
    const left = Math.min(event.clientX - box.left + 12, box.width - this.tip.offsetWidth);
    this.tip.style.left = `${Math.max(0, left)}px`;
    this.tip.style.top = `${event.clientY - box.top + 16}px`;
  }
}

// Paper is narrower than most windows.
const PAPER_WIDTH = 700;
let isPrinting = false;
const widthOf = place => isPrinting ? PAPER_WIDTH : Math.max(place.clientWidth, 320);

// Calls back when the element has become wider or narrower, or is printed; the caller disconnects what it gets.
function onWidthChange(element, changed) {
  let width = element.clientWidth;
  const observer = new ResizeObserver(() => requestAnimationFrame(() => {
    if (element.clientWidth === 0 || element.clientWidth === width) return;
    width = element.clientWidth;
    changed();
  }));
  observer.observe(element);
  const print = event => {
    isPrinting = event.type === 'beforeprint';
    changed();
  };
  for (const type of ['beforeprint', 'afterprint']) window.addEventListener(type, print);
  return {disconnect: () => {
    observer.disconnect();
    for (const type of ['beforeprint', 'afterprint']) window.removeEventListener(type, print);
  }};
}

// The index of the first item, in the order of time, whose `key` is not before `time`.
function firstAfter(items, key, time) {
  let low = 0, high = items.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (key(items[middle]) < time) low = middle + 1; else high = middle;
  }
  return low;
}
