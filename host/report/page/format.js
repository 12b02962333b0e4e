// SPDX-License-Identifier: Apache-2.0
// Elements, and figures as people read them.
'use strict';

const SVG = 'http://www.w3.org/2000/svg';
const MS = 1e3, SECOND = 1e6, MINUTE = 60e6, HOUR = 3600e6, DAY = 86400e6;

// A text without what has no shape of its own or turns the text around it.
const printable = text => String(text).replace(/[\u0000-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069]/g,
    character => '\\u' + character.charCodeAt(0).toString(16).padStart(4, '0'));

function filled(made, attributes, children) {
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children.map(child => child instanceof Node ? child : printable(child)));
  return made;
}

// An element of the document, or of a drawing, with attributes and children (texts or elements).
const el = (name, attributes = {}, ...children) => filled(document.createElement(name), attributes, children);
const svg = (name, attributes = {}, ...children) => filled(document.createElementNS(SVG, name), attributes, children);

const byId = id => document.getElementById(id);

function counted(count, noun, plural = noun + 's') {
  return `${grouped(count)} ${count === 1 ? noun : plural}`;
}

function grouped(number) {
  return String(number).replace(/\B(?=(\d{3})+$)/g, '\u202f');
}

function bytes(count) {
  if (count < 1e3) return `${count} B`;
  const [unit, name] = count < 1e6 ? [1e3, 'kB'] : count < 1e9 ? [1e6, 'MB'] : [1e9, 'GB'];
  return `${(count / unit).toFixed(1)} ${name}`;
}

const percent = share => `${(share * 100).toFixed(1)} %`;

// How long something took, in the unit that it is thought of in.
function duration(us) {
  if (us < MS && us !== 0) return `${us} µs`;
  if (us < SECOND) return `${+(us / MS).toFixed(1)} ms`;
  if (us < MINUTE) return `${+(us / SECOND).toFixed(3)} s`;
  if (us < HOUR) return `${Math.floor(us / MINUTE)} min ${Math.floor(us % MINUTE / SECOND)} s`;
  if (us < DAY) return `${Math.floor(us / HOUR)} h ${Math.floor(us % HOUR / MINUTE)} min`;
  return `${(us / DAY).toFixed(1)} days`;
}

// A moment of the device, to as many digits of a second.
function moment(exactUs, digits = 3) {
  const unit = 10 ** (6 - digits), us = Math.round(exactUs / unit) * unit;
  const seconds = `${(us % MINUTE / SECOND).toFixed(digits)} s`;
  if (us < MINUTE) return seconds;
  const minutes = `${Math.floor(us % HOUR / MINUTE)} min ${seconds}`;
  if (us < HOUR) return minutes;
  const hours = `${Math.floor(us % DAY / HOUR)} h ${minutes}`;
  return us < DAY ? hours : `day ${Math.floor(us / DAY)}, ${hours}`;
}

// Where the lines of an axis are, at most `most` of them, and how a time on them is written.
function ticks(from, to, most) {
  const steps = [1, 2, 5, 10, 20, 50, 100, 200, 500]
      .concat([1, 2, 5, 10, 20, 50, 100, 200, 500].map(step => step * MS), [1, 2, 5, 10, 15, 30].map(step => step * SECOND),
              [1, 2, 5, 10, 15, 30].map(step => step * MINUTE), [1, 2, 3, 6, 12].map(step => step * HOUR),
              [1, 2, 5, 10, 20, 50, 100, 200, 500, 1000].map(step => step * DAY));
  const step = steps.find(one => (to - from) / one <= most) || steps.at(-1);
  const unit = step < MS ? [1, 'µs'] : step < SECOND ? [MS, 'ms'] : step < MINUTE ? [SECOND, 's'] :
      step < HOUR ? [MINUTE, 'min'] : step < DAY ? [HOUR, 'h'] : [DAY, 'd'];
  const at = [];
  for (let time = Math.ceil(from / step) * step; time <= to; time += step) at.push(time);
  const isFine = step < SECOND && Math.max(Math.abs(from), Math.abs(to)) >= SECOND;
  const digits = 6 - Math.floor(Math.log10(step));
  return {step, at, text: time => isFine ? `${(time / SECOND).toFixed(digits)} s` : `${grouped(Math.round(time / unit[0]))} ${unit[1]}`};
}

// As many of them as have room in the width.
function fittingTicks(from, to, width) {
  for (let most = Math.max(2, Math.floor(width / 90)); ; --most) {
    const axis = ticks(from, to, most);
    const widest = Math.max(...axis.at.map(time => axis.text(time).length), 0) * 6.6 + 12;
    if (most <= 2 || widest <= axis.step / (to - from) * width) return axis;
  }
}

// A table: columns are {name, text: whether it is one, wide, sort, cell(row) -> text or element, bad(row)}. More rows
// than `most` are shown when asked for.
function table(columns, rows, most = Infinity) {
  const body = el('tbody');
  let shown = rows, limit = most;
  const more = el('button', {type: 'button'});
  const fill = () => {
    body.replaceChildren(...shown.slice(0, limit).map(row => el('tr', {}, ...columns.map(column => {
      const kinds = [column.text && 'text', column.wide && 'wide', column.bad && column.bad(row) && 'bad'];
      return el('td', {class: kinds.filter(Boolean).join(' ')}, column.cell(row));
    }))));
    more.hidden = shown.length <= limit;
    more.textContent = `All ${grouped(shown.length)}`;
  };
  more.addEventListener('click', () => { limit = Infinity; fill(); });
  const head = el('tr', {}, ...columns.map(column => {
    const cell = el('th', {class: column.text ? 'text' : '', scope: 'col'});
    if (!column.sort) {
      cell.append(column.name);
      return cell;
    }
    const button = el('button', {type: 'button', title: 'Sort'}, column.name);
    button.addEventListener('click', () => {
      shown = [...rows].sort((left, right) => {
        const a = column.sort(left), b = column.sort(right);
        return column.text ? String(a).localeCompare(String(b)) : b - a;
      });
      fill();
    });
    cell.append(button);
    return cell;
  }));
  fill();
  return [el('table', {}, el('thead', {}, head), body), more];
}
