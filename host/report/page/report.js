// SPDX-License-Identifier: Apache-2.0
// The sections of the page, made of the JSON object that it holds.
'use strict';

const data = JSON.parse(byId('data').textContent);
const {summary, starts, timeline} = data;
const texts = timeline.texts;

const STATE_COLORS = {__proto__: null, INWORKING: 'collect', PAUSED: 'pause', PREREAD: 'page', STOP: 'bound', ABORT: 'bad'};
const IDLE_STATE = 'OUTOFWORK';
const EVENT_COLORS = {'27/1': 'start', '27/0': 'page', '10/0': 'page', '10/1': 'page', '4/0': 'collect', '11/1': 'limit', '11/0': 'limit'};
const MARK_COLORS = {preread: 'page', failedPreread: 'bad', record: 'collect', write: 'write', refusedWrite: 'bad', refusedRequest: 'bad',
                     fault: 'bad', systemEvent: 'system', faultEvent: 'bad', errorLine: 'bad', topSet: 'system', step: 'event'};
const MARK_NAMES = {preread: 'preread', failedPreread: 'failed preread', record: 'record made', write: 'write', refusedWrite: 'refused write',
                    refusedRequest: 'refused request', fault: 'fault struck', systemEvent: 'system event', faultEvent: 'fault event',
                    errorLine: 'error line', topSet: 'top scenes', step: 'step'};
const RECORD_STATES = {absent: 'no record', uptodate: 'record up to date', older: 'record older than its files'};
const FAILURES = {faults: 'fault struck', refusedWrites: 'refused write', refusedRequests: 'refused request', failedPrereads: 'failed preread',
                  faultEvents: 'fault event', errorLines: 'error line'};
const MOST_APPLICATIONS = 12;

// --- What happened, as the lanes of a chart ---

const eventName = ([, type, value]) => timeline.events.names[`${type}/${value}`];

function eventMark(event) {
  const [at, type, value, application, detail] = event;
  const whose = [texts[application], texts[detail]].filter(Boolean).join(', ');
  return {at, color: EVENT_COLORS[`${type}/${value}`] || 'event', tall: type === 27 && value === 1,
          tip: `${moment(at)}  ${eventName(event)}${whose ? ': ' + whose : ''}`};
}

// A lane for each application, of more than `limit` for the most active ones.
function eventLanes(limit) {
  const byApplication = new Map();
  for (const event of timeline.events.rows) {
    if (!byApplication.has(event[3])) byApplication.set(event[3], []);
    byApplication.get(event[3]).push(event);
  }
  const named = [...byApplication].filter(([application]) => texts[application] !== '');
  // In the order of their first event.
  const most = new Set(named.map(([application, events]) => [application, events.length]).sort((a, b) => b[1] - a[1])
      .slice(0, limit).map(([application]) => application));
  const lanes = named.filter(([application]) => most.has(application))
      .map(([application, events]) => ({name: texts[application], application, marks: events.map(eventMark)}));
  const others = named.filter(([application]) => !most.has(application));
  if (others.length > 0) {
    const events = others.flatMap(([, rows]) => rows).sort((a, b) => a[0] - b[0]);
    lanes.push({name: counted(others.length, 'other application'), marks: events.map(eventMark)});
  }
  const device = [...byApplication].filter(([application]) => texts[application] === '').flatMap(([, rows]) => rows);
  if (device.length > 0) lanes.push({name: 'device', marks: device.map(eventMark)});
  return lanes;
}

function marksOf(...kinds) {
  return timeline.marks.rows.filter(([, kind]) => kinds.includes(timeline.marks.kinds[kind])).map(([at, kind, text]) => {
    const key = timeline.marks.kinds[kind];
    return {at, color: MARK_COLORS[key], tall: MARK_COLORS[key] === 'bad', tip: `${moment(at)}  ${MARK_NAMES[key]}: ${texts[text]}`};
  });
}

function stateSpans(monitor, index) {
  return monitor.states.filter(([, , state]) => texts[state] !== IDLE_STATE).map(([from, to, state]) => ({
    from, to, color: STATE_COLORS[texts[state]] || 'bound', text: texts[state],
    tip: `monitor ${index} ${texts[state]}: ${moment(from)} to ${moment(to)}, ${duration(to - from)}`}));
}

function sceneSpans(monitor) {
  return monitor.scenes.map(([from, to, scene, record]) => ({
    from, to, color: 'bound', text: texts[scene],
    tip: `${texts[scene]}, ${RECORD_STATES[texts[record]] || texts[record]}: ${moment(from)} to ${moment(to)}, ${duration(to - from)}`}));
}

function monitorLanes(index) {
  const monitor = timeline.monitors[index];
  return [{name: `monitor ${index}: state`, spans: stateSpans(monitor, index)}, {name: `monitor ${index}: scene`, spans: sceneSpans(monitor)}];
}

function limitLanes() {
  return Object.entries(timeline.switches).map(([group, spans]) => ({name: `limit ${group}`, spans: spans.map(([from, to]) => ({
    from, to, color: 'limit', text: duration(to - from), tip: `${group} limited: ${moment(from)} to ${moment(to)}, ${duration(to - from)}`}))}));
}

function queueLanes() {
  return timeline.queues.map(({name, tasks}) => ({name, spans: tasks.filter(([, begun]) => begun >= 0)
      .map(([submitted, begun, ended, task]) => ({
        from: begun, to: Math.max(begun, ended), color: 'task', text: texts[task],
        tip: `${moment(begun)}  ${texts[task]}${ended > begun ? ', took ' + duration(ended - begun) : ''}` +
             `${begun > submitted ? ', submitted ' + duration(begun - submitted) + ' before' : ''}`}))
      .sort((a, b) => a.from - b.from)}));
}

const LANES = {
  events: eventLanes(MOST_APPLICATIONS), monitors: [monitorLanes(0), monitorLanes(1)], limits: limitLanes(), queues: queueLanes(),
  work: {name: 'prereads, records', marks: marksOf('preread', 'failedPreread', 'record')},
  writes: {name: 'kernel files written', marks: marksOf('write')},
  learning: {name: 'top scenes published', marks: marksOf('topSet')},
  system: {name: 'system events', marks: marksOf('systemEvent')},
  steps: {name: 'other steps', marks: marksOf('step')},
  failures: {name: 'failures', marks: marksOf('failedPreread', 'refusedWrite', 'refusedRequest', 'fault', 'faultEvent', 'errorLine')},
};

const isUsedWithin = (lane, from, to) => (lane.spans || []).some(span => span.to >= from && span.from <= to) ||
    (lane.marks || []).some(mark => mark.at >= from && mark.at <= to);
const used = lane => (lane.spans || []).length + (lane.marks || []).length > 0;

function legend(entries) {
  return el('div', {class: 'legend'}, ...entries.map(([color, name]) => el('span', {style: `--key: var(--${color})`}, name)));
}

const LEGEND = [['start', 'cold start'], ['page', 'page, preread'], ['collect', 'process, collecting, record'], ['pause', 'paused'],
                ['limit', 'background limited, slide'], ['task', 'task'], ['bad', 'failure']];

// --- Sections ---

function drawHead() {
  const {counts} = summary;
  document.title = `${printable(data.scenario)}: replay`;
  byId('title').textContent = printable(data.scenario);
  byId('subtitle').textContent = `Replay of ${counted(counts.events, 'event')} in ${duration(counts.deviceUs)} of a device` +
      (summary.interrupted ? ', interrupted' : '');
  byId('counts').textContent = `${counted(counts.events, 'event')}, ${counted(counts.journalEntries, 'journal entry', 'journal entries')}, ` +
      (counts.tasks === null ? '' : `${counted(counts.tasks, 'task')}, `) + `${duration(counts.wallUs)} of the machine's time.`;
}

function drawTiles() {
  const {totals, limits, learning} = summary;
  const cold = learning.cold && learning.cold.openings > 0 ? learning.cold : null;
  const tiles = [
    ['Prereads', grouped(totals.prereads), `${grouped(totals.failedPrereads)} failed`, totals.failedPrereads > 0],
    ['Preread', bytes(totals.bytes), `of ${counted(Object.keys(summary.scenes).length, 'scene')}`],
    ['Records made', grouped(totals.records), `${counted(totals.bound, 'time')} bound`],
    ['Background limited', duration(limits.onUs), `${counted(limits.starts, 'start')}, ${counted(limits.slides, 'slide')}`],
    ['Cold pages in the set', cold ? percent(cold.heldBy.published.share) : '–', cold ? `of ${counted(cold.openings, 'opening')}` : 'nothing learned yet'],
    ['Failures', grouped(totals.failures), totals.failures > 0 ? 'see below' : '', totals.failures > 0],
  ];
  byId('tiles').replaceChildren(...tiles.map(([what, figure, more, bad]) => el('div', {class: bad ? 'tile bad' : 'tile'},
      el('div', {class: 'what'}, what), el('div', {class: 'figure'}, figure), el('div', {class: 'more'}, more || ''))));
}

// What a start was, in sentences.
function storyOf(start) {
  const parts = [];
  const say = (...pieces) => parts.push(...pieces, ' ');
  const bold = text => el('b', {}, text);
  const after = us => us === 0 ? 'at once' : [bold(duration(us)), ' after it'];
  const flat = (...pieces) => say(...pieces.flat());
  flat(`${start.bundleName} was started cold at ${moment(start.timeUs)}.`);
  if (start.pageShownAfterUs !== null) flat('Its first page was shown ', after(start.pageShownAfterUs), '.');
  if (start.scene === '') {
    flat('No monitor was bound for it.');
  } else if (start.prereadAfterUs !== null && start.prereadError !== '') {
    flat('The preread of its record failed: ', start.prereadError, '.');
  } else if (start.prereadAfterUs !== null) {
    flat(bold(bytes(start.prereadBytes)), ' of its pages were preread ', after(start.prereadAfterUs),
         start.recordState === 'uptodate' ? '; its record is up to date.' : '.');
  } else {
    flat(`Nothing was preread: ${RECORD_STATES[start.recordState] || start.recordState}.`);
  }
  if (start.recordAfterUs !== null) {
    flat('The pages that it touched were collected', start.collectedAfterUs === null ? '' : [' from ', bold(duration(start.collectedAfterUs)), ' on'],
         ' and became a record of ', bold(counted(start.recordPages, 'page')), ' ', after(start.recordAfterUs), '.');
  }
  if (start.limitedAfterUs !== null) {
    flat('Background IO was limited ', after(start.limitedAfterUs),
         start.limitedForUs === null ? ', and not lifted meanwhile.' : [', for ', bold(duration(start.limitedForUs)), '.']);
  } else {
    flat('Background IO was not limited.');
  }
  return parts;
}

let startChart = null;

function drawStart(index) {
  const start = starts.stories[index];
  const zero = start.timeUs;
  const at = after => zero + after;
  const lifted = start.limitedAfterUs !== null && start.limitedForUs !== null ? start.limitedAfterUs + start.limitedForUs : null;
  const moments = [['start', 0], ['process', start.processAfterUs], ['page begins', start.pageAfterUs], ['page shown', start.pageShownAfterUs],
                   [start.prereadError ? 'preread failed' : `preread ${bytes(start.prereadBytes)}`, start.prereadAfterUs],
                   ['record made', start.recordAfterUs], ['limit lifted', lifted], ['work ended', start.workEndedAfterUs]]
      .filter(([, after]) => after !== null).sort((a, b) => a[1] - b[1])
      .map(([name, after]) => ({at: at(after), text: after === 0 ? name : `${name} +${duration(after)}`}));
  const last = moments.reduce((latest, one) => Math.max(latest, one.at), zero + SECOND);
  const length = last - zero;
  const [from, to] = [Math.max(0, zero - length * 0.03), Math.min(Math.max(timeline.untilUs, last), last + length * 0.1)];
  const own = LANES.events.find(lane => texts[lane.application] === start.bundleName) ||
      {marks: timeline.events.rows.filter(event => texts[event[3]] === start.bundleName).map(eventMark)};
  const wait = start.pageShownAfterUs === null ? [] : [{from: zero, to: at(start.pageShownAfterUs), color: 'wait',
      text: `${duration(start.pageShownAfterUs)} to the page`, tip: `${start.bundleName}: ${duration(start.pageShownAfterUs)} from the start to the page`}];
  const monitors = start.monitor === null ? LANES.monitors.flat().filter(used) : LANES.monitors[start.monitor];
  const lanes = [{name: start.bundleName, spans: wait, marks: own.marks}, ...monitors, LANES.work, ...LANES.limits, ...LANES.queues,
                 LANES.writes, LANES.failures].filter(lane => isUsedWithin(lane, from, to));
  if (startChart) startChart.remove();
  startChart = new LaneChart(byId('start-chart'), {label: `Cold start of ${start.bundleName}`, from, to, lanes, moments, zero});
  byId('start-chart').append(legend(LEGEND));
  byId('start-story').replaceChildren(el('span', {}, ...storyOf(start)));
  byId('start-before').disabled = index === 0;
  byId('start-after').disabled = index === starts.stories.length - 1;
  drawStartList(from, to, zero);
}

// Everything within the time of a start, in order: at one instant events come before what came of them.
function drawStartList(from, to, zero) {
  const rows = [];
  const add = (time, order, what, text) => { if (time >= from && time <= to) rows.push({time, order, what, text}); };
  for (const event of timeline.events.rows) add(event[0], 0, eventName(event), [texts[event[3]], texts[event[4]]].filter(Boolean).join(', '));
  for (const {name, tasks} of timeline.queues) for (const [, begun, , task] of tasks) add(begun, 1, 'task', `${texts[task]} (${name})`);
  for (const [time, kind, text] of timeline.marks.rows) add(time, 2, MARK_NAMES[timeline.marks.kinds[kind]], texts[text]);
  timeline.monitors.forEach((monitor, index) => {
    for (const [time, , state] of monitor.states) if (time > 0) add(time, 3, `monitor ${index}`, texts[state]);
  });
  rows.sort((a, b) => a.time - b.time || a.order - b.order);
  const columns = [{name: 'after the start', cell: row => row.time < zero ? `−${duration(zero - row.time)}` : duration(row.time - zero)},
                   {name: 'at', cell: row => moment(row.time)}, {name: 'what', text: true, cell: row => row.what},
                   {name: '', text: true, wide: true, cell: row => row.text}];
  byId('start-list').replaceChildren(...table(columns, rows, 400));
}

function drawStarts() {
  const {stories} = starts;
  if (stories.length === 0) {
    byId('start-controls').hidden = byId('start-details').hidden = true;
    byId('start-story').textContent = 'No application was started cold.';
    return;
  }
  const choice = byId('start-choice');
  const worth = start => start.prereadAfterUs !== null && start.prereadError === '' ? bytes(start.prereadBytes) + ' preread' :
      start.recordAfterUs !== null ? `record of ${counted(start.recordPages, 'page')}` : start.prereadError !== '' ? 'preread failed' : '';
  choice.replaceChildren(...stories.map((start, index) => el('option', {value: index},
      [moment(start.timeUs), start.bundleName, worth(start)].filter(Boolean).join(' · '))));
  if (starts.leftOut > 0) byId('start-controls').append(el('span', {class: 'note'}, `The first ${grouped(stories.length)} of ${grouped(stories.length + starts.leftOut)} cold starts.`));
  const go = index => { choice.value = index; drawStart(index); };
  choice.addEventListener('change', () => go(+choice.value));
  byId('start-before').addEventListener('click', () => go(+choice.value - 1));
  byId('start-after').addEventListener('click', () => go(+choice.value + 1));
  const best = [start => start.prereadAfterUs !== null && start.prereadError === '', start => start.recordAfterUs !== null, start => start.scene !== '', () => true]
      .map(is => stories.findIndex(is)).find(index => index >= 0);
  go(best);
}

function drawRun() {
  byId('run-note').textContent = timeline.leftOut === 0 ? '' :
      `Drawn up to ${moment(timeline.untilUs)}; ${grouped(timeline.leftOut)} later things are in the figures only.`;
  const place = byId('run-chart');
  let chart = null;
  const show = events => {
    const lanes = [...events, ...LANES.monitors.flat(), LANES.work, ...LANES.limits, ...LANES.queues, LANES.learning, LANES.system,
                   LANES.steps, LANES.failures].filter(lane => used(lane) || lane.name.endsWith('state'));
    if (chart) chart.remove();
    chart = new LaneChart(place, {label: 'The whole run', from: 0, to: timeline.untilUs, lanes});
    place.append(legend([...LEGEND, ['system', 'system event, top scenes'], ['event', 'other event, step']]));
    if (events === LANES.events && events.some(lane => lane.application === undefined && lane.name !== 'device')) {
      const all = el('button', {type: 'button'}, 'A lane for every application');
      all.addEventListener('click', () => show(eventLanes(Infinity)));
      chart.bar.append(all);
    }
  };
  show(LANES.events);
}

function drawScenes() {
  const rows = Object.entries(summary.scenes).map(([name, scene]) => ({name, ...scene})).sort((a, b) => b.prereads - a.prereads || b.bytes - a.bytes || b.bound - a.bound);
  if (rows.length === 0) {
    byId('scene-table').textContent = 'No scene was bound.';
    return;
  }
  const most = Math.max(...rows.map(row => row.bytes), 1);
  const found = row => Object.entries(row.recordStates).map(([state, count]) => `${count} ${state}`).join(', ') || '–';
  const columns = [
    {name: 'scene', text: true, wide: true, sort: row => row.name, cell: row => row.name},
    {name: 'bound', sort: row => row.bound, cell: row => grouped(row.bound)},
    {name: 'record found', text: true, sort: found, cell: found},
    {name: 'records made', sort: row => row.records, cell: row => grouped(row.records)},
    {name: 'pages', sort: row => row.pages, cell: row => row.records ? grouped(row.pages) : '–'},
    {name: 'prereads', sort: row => row.prereads, cell: row => grouped(row.prereads)},
    {name: 'failed', sort: row => row.failedPrereads, cell: row => grouped(row.failedPrereads), bad: row => row.failedPrereads > 0},
    {name: 'preread', sort: row => row.bytes, cell: row => {
      const cell = el('span', {}, bytes(row.bytes));
      cell.append(el('span', {class: 'share', style: `width: ${(row.bytes / most * 5).toFixed(2)}rem`}));
      return cell;
    }},
  ];
  byId('scene-table').replaceChildren(...table(columns, rows, 25));
}

const CHOICES = {published: 'published set', served: 'set and the room beside it', lru: 'least recently used (LRU)', mfu: 'most frequently used, no decay',
                 bestFixed: 'best fixed set in hindsight', seenBefore: 'seen before, no limit'};

function drawLearning() {
  const {learning} = summary;
  byId('learning-note').textContent = `${counted(learning.trainings, 'training')}, ${counted(learning.publications, 'publication')}; the set holds ` +
      `${grouped(learning.setSize)} of at most ${counted(learning.capacity, 'scene')}` +
      (learning.setChanges === null ? '.' : `, ${grouped(learning.setChanges)} came in or went out.`);
  if (learning.cold === null || learning.cold.openings === 0) {
    byId('learning-table').textContent = 'No page scene was opened cold after a training, so there is no hit rate.';
  } else {
    const rows = Object.entries(learning.cold.heldBy).map(([key, rate]) => ({key, ...rate}));
    byId('learning-table').replaceChildren(...table([
      {name: `${counted(learning.cold.openings, 'cold opening')} held by`, text: true, cell: row => CHOICES[row.key] || row.key},
      {name: 'openings', cell: row => grouped(row.openings)}, {name: 'share', cell: row => percent(row.share)},
      {name: 'changes a day', cell: row => row.changesADay === null ? '–' : row.changesADay.toFixed(1)}], rows));
  }
  if (learning.periods.length > 1) drawPeriods(learning.periods);
}

// Above, the share of cold openings that each choice held, from each publication to the next; below, how large the set
// was, and how many scenes came in and went out.
function drawPeriods(periods) {
  const place = byId('learning-chart');
  const end = Math.max(summary.counts.deviceUs, periods.at(-1).fromUs + 1);
  const series = ['seenBefore', 'mfu', 'lru', 'served', 'published'];
  // A night of three openings has no rate that means anything.
  const least = periods.some(period => period.openings >= 20) ? 20 : 1;
  const draw = () => {
    const width = widthOf(place), left = 56, right = 8, top = 10, upper = 190, gap = 26, lower = 70;
    const x = time => left + (time - periods[0].fromUs) / (end - periods[0].fromUs) * (width - left - right);
    const y = share => top + (1 - share) * upper;
    const image = svg('svg', {viewBox: `0 0 ${width} ${top + upper + gap + lower + 26}`, role: 'img', 'aria-label': 'The set of top scenes over time'});
    const put = (name, attributes, ...children) => image.append(svg(name, attributes, ...children));
    for (const share of [0, 0.25, 0.5, 0.75, 1]) {
      put('line', {class: 'gridline', x1: left, x2: width - right, y1: y(share), y2: y(share)});
      put('text', {class: 'muted', x: left - 6, y: y(share) + 4, 'text-anchor': 'end'}, `${share * 100} %`);
    }
    const base = top + upper + gap + lower;
    const axis = fittingTicks(periods[0].fromUs, end, width - left - right);
    for (const time of axis.at) {
      put('line', {class: 'gridline', x1: x(time), x2: x(time), y1: top, y2: base});
      put('text', {class: 'muted', x: x(time), y: base + 17, 'text-anchor': 'middle'}, axis.text(time));
    }
    for (const key of series) {
      const points = periods.map((period, index) => ({period, from: x(period.fromUs), to: x((periods[index + 1] || {fromUs: end}).fromUs)}))
          .filter(({period}) => period.openings >= least)
          .map(({period, from, to}) => `${((from + to) / 2).toFixed(1)},${y(period.heldBy[key] / period.openings).toFixed(1)}`);
      put('polyline', {class: 'series', points: points.join(' '), style: `stroke: var(--${key})`});
    }
    const most = Math.max(...periods.map(period => Math.max(period.setSize, period.added, period.removed)), 1);
    const tall = count => count / most * lower;
    put('text', {class: 'muted', x: left - 6, y: base - lower + 8, 'text-anchor': 'end'}, grouped(most));
    put('text', {class: 'muted', x: left - 6, y: base, 'text-anchor': 'end'}, '0');
    periods.forEach((period, index) => {
      const from = x(period.fromUs), to = x((periods[index + 1] || {fromUs: end}).fromUs), bar = Math.max(1, Math.min(4, (to - from) / 3));
      const rates = period.openings ? series.slice().reverse().map(key => `${CHOICES[key]} ${period.heldBy[key]}`).join(', ') : '';
      const tip = svg('title', {}, `from ${moment(period.fromUs)}: ${counted(period.setSize, 'scene')}, ${period.added} in, ${period.removed} out` +
          (rates ? `; of ${counted(period.openings, 'cold opening')} held: ${rates}` : ''));
      put('rect', {x: from, width: Math.max(to - from, 0.5), y: base - tall(period.setSize), height: tall(period.setSize), fill: 'var(--bound)', opacity: 0.5});
      put('rect', {x: from, width: bar, y: base - tall(period.added), height: tall(period.added), fill: 'var(--collect)'});
      put('rect', {x: from + bar, width: bar, y: base - tall(period.removed), height: tall(period.removed), fill: 'var(--bad)'});
      put('rect', {x: from, width: Math.max(to - from, 1), y: top, height: base - top, fill: 'transparent'}, tip);
    });
    const choices = legend(series.slice().reverse().map(key => [key, CHOICES[key]]));
    if (periods.some(period => period.openings > 0 && period.openings < least)) {
      choices.append(el('em', {}, `without the times between two publications that had fewer than ${least} cold openings`));
    }
    place.replaceChildren(choices, image,
                          legend([['bound', 'scenes in the set'], ['collect', 'came in'], ['bad', 'went out']]));
  };
  draw();
  onWidthChange(place, draw);
}

function drawLimits() {
  const {limits} = summary;
  const count = limits.starts + limits.slides;
  byId('limits-note').textContent = count === 0 ? 'Background IO was never limited.' :
      `Limited for ${duration(limits.onUs)}: ${counted(limits.starts, 'start')}, ${counted(limits.slides, 'slide')}.` +
      (count > limits.first.length ? ` These are the first ${limits.first.length}.` : '');
  if (count === 0) return;
  const who = trigger => {
    const list = el('dl');
    for (const fate of Object.keys(limits.fates)) {
      const processes = trigger.processes.filter(process => process.fate === fate);
      if (processes.length === 0) continue;
      list.append(el('dt', {}, fate.replace(/[A-Z]/g, letter => ' ' + letter.toLowerCase())),
                  el('dd', {}, processes.map(process => `${process.pid} ${process.bundleName || '(no bundle)'}`).join(', ')));
    }
    return list;
  };
  byId('limits-table').replaceChildren(...table([
    {name: 'at', cell: row => moment(row.timeUs)},
    {name: 'what', text: true, wide: true, cell: row => row.kind === 'slide' ? 'slide' : `start of ${row.bundleName}`},
    {name: 'lifted at', cell: row => !row.switchedOn ? 'not switched on' : row.liftedUs === null ? 'not lifted' : moment(row.liftedUs), bad: row => !row.switchedOn},
    {name: 'processes', text: true, wide: true, cell: who}], limits.first, 12));
}

function drawEvents() {
  const {systemEvents, counts} = summary;
  if (systemEvents.length === 0) {
    byId('events-table').textContent = 'None.';
    return;
  }
  byId('events-table').replaceChildren(...table([{name: 'at', cell: row => moment(row.timeUs)}, {name: 'event', text: true, wide: true, cell: row => row.text}], systemEvents, 25));
  if (counts.systemEvents > systemEvents.length) byId('events-table').append(el('p', {class: 'note'}, `The first of ${grouped(counts.systemEvents)}.`));
}

function drawFailures() {
  const rows = [];
  for (const [key, name] of Object.entries(FAILURES)) {
    const {counts, others} = summary.failures[key];
    for (const [text, count] of Object.entries(counts)) rows.push({name, text, count});
    if (others > 0) rows.push({name, text: 'other texts', count: others});
  }
  if (rows.length === 0) {
    byId('failures-table').textContent = 'None.';
    return;
  }
  byId('failures-table').replaceChildren(...table([{name: 'kind', text: true, sort: row => row.name, cell: row => row.name},
    {name: 'times', sort: row => row.count, cell: row => grouped(row.count)}, {name: 'what', text: true, wide: true, sort: row => row.text, cell: row => row.text}], rows, 30));
}

for (const draw of [drawHead, drawTiles, drawStarts, drawRun, drawScenes, drawLearning, drawLimits, drawEvents, drawFailures]) draw();
document.documentElement.dataset.drawn = 'yes';
