"use strict";
(() => {
  const data = JSON.parse(document.getElementById("data").textContent);
  const byId = (id) => document.getElementById(id);
  const [MESSAGE, ROAD, THREAD, ARRIVED, BEGUN, ENDED, CHECK, HELD, OUTCOME, REASON, ARRIVAL, FIRST,
    LAST] = Array(13).keys();
  const SKIPPED_ELSEWHERE = 2, OPENED = 1;
  const ROW = 30, LANE = 30, AXIS = 22, AROUND = 5, MOST_SHOWN = 400, LEAST_SPAN = 4;
  const columns = data.events.length ? data.events : Array.from({ length: 13 }, () => []);
  const count = columns[0].length;
  const of = (event, column) => columns[column][event];
  const endOf = (event) => of(event, ENDED) < 0 ? data.untilOfThread[of(event, THREAD)]
    : of(event, ENDED);

  // Times of the lines, which are stored as steps.
  const times = new Float64Array(data.lines.steps.length);
  for (let i = 0, time = 0; i < times.length; i += 1) times[i] = time += data.lines.steps[i];

  // A row for each message that has an event.
  const rows = data.messages.map(([id, subject]) => ({
    id, subject, events: [], first: Infinity, check: -1, held: -1, text: "",
  }));
  for (let event = 0; event < count; event += 1) {
    const row = rows[of(event, MESSAGE)];
    row.events.push(event);
    row.first = Math.min(row.first, of(event, ARRIVED), of(event, BEGUN));
    row.check = Math.max(row.check, of(event, CHECK));
    row.held = Math.max(row.held, of(event, HELD));
  }
  rows.forEach((row, number) => {
    row.number = number;
    const reasons = new Set(row.events.map((event) => data.reasons[of(event, REASON)]));
    row.text = [row.id, row.subject, ...reasons].join("\n").toLowerCase();
  });

  function element(name, properties = {}, ...children) {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(properties)) {
      if (key.includes("-") || key === "role") made.setAttribute(key, value);
      else made[key] = value;
    }
    made.append(...children);
    return made;
  }
  const isolated = (text) => element("bdi", {}, text);

  const pad = (number, width = 2) => String(number).padStart(width, "0");
  const severalDays = data.until > 20 * 3600e3;
  function clock(time, withDay = severalDays) {
    const moment = new Date(data.base + time);
    const day = withDay ? `${pad(moment.getUTCMonth() + 1)}-${pad(moment.getUTCDate())} ` : "";
    return `${day}${pad(moment.getUTCHours())}:${pad(moment.getUTCMinutes())}:` +
      `${pad(moment.getUTCSeconds())}.${pad(moment.getUTCMilliseconds(), 3)}`;
  }
  function length(milliseconds) {
    if (milliseconds < 0) return "";
    if (milliseconds < 10e3) return `${milliseconds} ms`;
    if (milliseconds < 600e3) return `${(milliseconds / 1e3).toFixed(1)} s`;
    return milliseconds < 36e6 ? `${(milliseconds / 60e3).toFixed(1)} min`
      : `${(milliseconds / 3600e3).toFixed(1)} h`;
  }
  const shortId = (id) => id.length > 16 ? `\u2026${id.slice(-12)}` : id;
  const openLimit = data.limits["OnRead(OU2007)"];
  const isSlow = (event) => of(event, ROAD) === OPENED && of(event, HELD) > openLimit;
  const summary = (event) => `${data.roads[of(event, ROAD)]}: ${data.outcomes[of(event, OUTCOME)]}` +
    (data.reasons[of(event, REASON)] ? `, ${data.reasons[of(event, REASON)]}` : "");

  // What is shown: the time from view.from to view.to, and `shown` of the rows.

  const whole = { from: -Math.max(1, data.until * 0.01), to: Math.max(10, data.until * 1.01) };
  const view = { ...whole };
  let shown = [], chosen = null, chosenEvent = -1, painting = false;
  const wanted = new Set();  // outcomes
  const list = byId("rows"), all = byId("all"), canvas = byId("lanes");

  function choose(row, event = -1) {
    if (row && !shown.includes(row)) showAll();
    chosen = row;
    chosenEvent = event;
    if (row && event < 0) {
      chosenEvent = row.events.reduce((worst, next) => {
        const rank = (e) => of(e, OUTCOME) === SKIPPED_ELSEWHERE ? -1 : of(e, OUTCOME);
        return rank(next) > rank(worst) ? next : worst;
      });
    }
    if (row) bringIntoView(chosenEvent);
    showDetail();
    uncover();
    paint();
  }

  // Scrolls the rows so that the chosen one is seen, above what shows it.
  function uncover() {
    const { top, bottom } = list.getBoundingClientRect(), detail = byId("detail");
    const covered = detail.hidden ? 0
      : Math.max(0, Math.min(bottom - detail.getBoundingClientRect().top, bottom - top - 3 * ROW));
    all.style.height = `${Math.max(1, shown.length) * ROW + covered}px`;
    const place_ = chosen ? shown.indexOf(chosen) * ROW : -1, room = bottom - top - covered;
    if (place_ >= 0 && (place_ < list.scrollTop || place_ + ROW > list.scrollTop + room)) {
      list.scrollTop = place_ - room / 2;
    }
  }

  function bringIntoView(event) {
    const from = Math.min(of(event, ARRIVED), of(event, BEGUN)), to = endOf(event);
    if (to >= view.from && from <= view.to) return;
    const half = (view.to - view.from) / 2;
    setView((from + to) / 2 - half, (from + to) / 2 + half);
  }

  function select() {
    const word = byId("search").value.trim().toLowerCase();
    const order = byId("order").value;
    shown = rows.filter((row) => row.events.length && (!word || row.text.includes(word)) &&
      (!wanted.size || row.events.some((event) => wanted.has(of(event, OUTCOME)))));
    shown.sort(order === "time" ? (a, b) => a.first - b.first || a.number - b.number
      : (a, b) => b[order] - a[order] || a.first - b.first);
    byId("found").textContent = shown.length === rows.length ? `${rows.length} messages`
      : `${shown.length} of ${rows.length} messages`;
    list.scrollTop = 0;
    if (chosen && !shown.includes(chosen)) choose(null);
    uncover();
    paint();
  }

  function setView(from, to) {
    const span = Math.min(Math.max(to - from, LEAST_SPAN), whole.to - whole.from);
    view.from = Math.min(Math.max(from, whole.from), whole.to - span);
    view.to = view.from + span;
    paint();
  }
  // Around the chosen event, if that is in sight.
  function middle() {
    const time = chosen ? of(chosenEvent, BEGUN) : NaN;
    return time >= view.from && time <= view.to ? time : (view.from + view.to) / 2;
  }
  function zoom(factor, at = middle()) {
    setView(at - (at - view.from) * factor, at + (view.to - at) * factor);
  }
  function move(part) {
    const step = (view.to - view.from) * part;
    setView(view.from + step, view.to + step);
  }

  function paint() {
    if (painting) return;
    painting = true;
    requestAnimationFrame(() => {
      painting = false;
      paintRows();
      paintLanes();
      byId("span").textContent = `${clock(Math.max(0, view.from))}, ` +
        `${length(Math.round(view.to - view.from))} shown`;
    });
  }

  // The rows in sight

  function bar(from, to, className) {
    const span = view.to - view.from;
    if (to < view.from || from > view.to) return null;
    const left = Math.max(0, (from - view.from) / span), right = Math.min(1, (to - view.from) / span);
    const made = element("i", { className });
    made.style.left = `${left * 100}%`;
    made.style.width = `${(right - left) * 100}%`;
    return made;
  }

  function barsOf(row) {
    const bars = element("span", { className: "bars" });
    for (const event of row.events.slice(0, MOST_SHOWN)) {
      const colour = `o${of(event, OUTCOME)}`;
      const begun = of(event, BEGUN), arrived = of(event, ARRIVED);
      const wait = arrived < begun ? bar(arrived, begun, `wait ${colour}`) : null;
      const done = bar(begun, endOf(event), colour);
      if (done) done.title = `${summary(event)}\n${clock(begun)}, ${length(endOf(event) - begun)}`;
      for (const made of [wait, done]) if (made) bars.append(made);
    }
    return bars;
  }

  function rowElement(row, place) {
    const events = element("span");
    for (const event of row.events.slice(0, 6)) {
      events.append(element("span", { className: "event", title: summary(event) },
        element("span", { className: `sign o${of(event, OUTCOME)}` }), data.roads[of(event, ROAD)]));
    }
    const last = row.events[row.events.length - 1];
    events.append(row.events.length > 6 ? `and ${row.events.length - 6} more`
      : data.reasons[of(last, REASON)]);
    const slow = row.events.some(isSlow);
    const made = element("div", { className: "row", role: "option", id: `row${row.number}`,
      "aria-selected": String(row === chosen), "aria-setsize": String(shown.length),
      "aria-posinset": String(place + 1) },
    element("span", {}, clock(row.first)),
    element("span", { className: "id", title: row.id }, shortId(row.id)),
    element("span", { title: row.subject }, isolated(row.subject)),
    events,
    element("span", { className: "number" }, length(row.check)),
    element("span", { className: `number ${slow ? "over" : ""}` }, length(row.held)),
    barsOf(row));
    made.style.top = `${place * ROW}px`;
    made.addEventListener("click", () => choose(row));
    return made;
  }

  function paintRows() {
    const first = Math.max(0, Math.floor(list.scrollTop / ROW) - 3);
    const last = Math.min(shown.length, Math.ceil((list.scrollTop + list.clientHeight) / ROW) + 3);
    const made = [];
    for (let place = first; place < last; place += 1) made.push(rowElement(shown[place], place));
    if (!shown.length) {
      made.push(element("div", { className: "none" }, rows.length ? "No message is so."
        : "No message is in this trace."));
    }
    all.replaceChildren(...made);
    if (chosen) list.setAttribute("aria-activedescendant", `row${chosen.number}`);
    else list.removeAttribute("aria-activedescendant");
  }

  // The lanes

  const eventsOfLane = data.lanes.map(() => []);
  for (let event = 0; event < count; event += 1) {
    eventsOfLane[data.laneOfThread[of(event, THREAD)]].push(event);
  }
  // The severe ones last, over the others.
  for (const events of eventsOfLane) events.sort((a, b) => of(a, OUTCOME) - of(b, OUTCOME));

  function colours() {
    const style = getComputedStyle(document.documentElement);
    const of_ = (name) => style.getPropertyValue(name).trim();
    return { outcomes: data.outcomes.map((_, i) => of_(`--o${i}`)), call: of_("--call"),
      bad: of_("--bad"), mark: of_("--mark"), text: of_("--text"), faint: of_("--faint"),
      line: of_("--line"), accent: of_("--accent") };
  }

  // Where the lanes' time begins and ends, as the bars of the rows do.
  function place() {
    const width = all.clientWidth;
    const part = parseFloat(getComputedStyle(document.documentElement).getPropertyValue("--left"));
    return { left: width * part / 100, right: width };
  }

  const STEPS = [1, 2, 5, 10, 20, 50, 100, 200, 500, 1e3, 2e3, 5e3, 10e3, 30e3, 60e3, 120e3, 300e3,
    600e3, 1800e3, 3600e3, 7200e3, 10800e3, 21600e3, 43200e3, 86400e3, 864e5 * 7];

  function paintLanes() {
    const { left, right } = place();
    const width = canvas.clientWidth, height = AXIS + data.lanes.length * LANE;
    const scale = window.devicePixelRatio || 1;
    canvas.style.height = `${height}px`;
    canvas.width = Math.round(width * scale);
    canvas.height = Math.round(height * scale);
    const ink = canvas.getContext("2d"), colour = colours();
    ink.scale(scale, scale);
    ink.font = '12px system-ui, "DejaVu Sans", sans-serif';
    ink.textBaseline = "middle";
    const span = view.to - view.from;
    const x = (time) => left + (time - view.from) / span * (right - left);

    const step = STEPS.find((candidate) => candidate / span * (right - left) > 90) || span;
    ink.fillStyle = colour.faint;
    for (let time = Math.ceil((view.from + data.base) / step) * step - data.base; time <= view.to;
      time += step) {
      ink.fillStyle = colour.line;
      ink.fillRect(Math.round(x(time)), AXIS - 4, 1, height);
      ink.fillStyle = colour.faint;
      const text = step >= 1000 ? clock(time).slice(0, -4) : clock(time, false);
      if (x(time) + ink.measureText(text).width < right) ink.fillText(text, x(time) + 3, AXIS / 2);
    }

    const top = (lane) => AXIS + lane * LANE;
    ink.save();
    data.lanes.forEach((name, lane) => {
      ink.fillStyle = colour.line;
      ink.fillRect(0, top(lane), width, 1);
      ink.fillStyle = colour.text;
      ink.textAlign = "right";
      ink.fillText(name, left - 10, top(lane) + LANE / 2);
    });
    ink.beginPath();
    ink.rect(left, 0, right - left, height);
    ink.clip();
    const box = (from, to, least, y, tall) => {
      const begin = x(from), wide = Math.max(least, x(to) - begin);
      if (begin + wide >= left && begin <= right) ink.fillRect(begin, y, wide, tall);
    };
    const [threads = [], begins = [], ends = [], names = []] = data.calls;
    threads.forEach((thread, call) => {
      const limit = data.limits[data.names[names[call]]];
      ink.fillStyle = ends[call] - begins[call] > limit ? colour.bad : colour.call;
      box(begins[call], ends[call], 1, top(data.laneOfThread[thread]) + 22, 5);
    });
    eventsOfLane.forEach((events, lane) => {
      for (const event of events) {
        ink.fillStyle = colour.outcomes[of(event, OUTCOME)];
        box(of(event, BEGUN), endOf(event), 2, top(lane) + 5, 14);
      }
    });
    const [markTimes = [], markThreads = []] = data.marks;
    ink.fillStyle = colour.mark;
    markTimes.forEach((time, mark) =>
      box(time, time, 2, top(data.laneOfThread[markThreads[mark]]) + 1, 5));
    if (chosen) {
      ink.strokeStyle = colour.text;
      ink.lineWidth = 2;
      for (const event of chosen.events) {
        const begin = x(of(event, BEGUN)), wide = Math.max(3, x(endOf(event)) - begin);
        ink.strokeRect(begin - 1, top(data.laneOfThread[of(event, THREAD)]) + 4, wide + 2, 16);
      }
    }
    ink.restore();
  }

  function timeAt(mouse) {
    const { left, right } = place();
    return view.from + (mouse.offsetX - left) / (right - left) * (view.to - view.from);
  }
  function eventAt(mouse) {
    const lane = Math.floor((mouse.offsetY - AXIS) / LANE), time = timeAt(mouse);
    const { left, right } = place();
    const reach = 4 * (view.to - view.from) / (right - left);
    let best = -1, distance = reach;
    for (const event of eventsOfLane[lane] || []) {
      const away = Math.max(of(event, BEGUN) - time, time - endOf(event), 0);
      if (away <= distance) [best, distance] = [event, away];
    }
    return best;
  }

  let drag = null;
  canvas.addEventListener("pointerdown", (mouse) => {
    drag = { x: mouse.offsetX, from: view.from, to: view.to, moved: false };
    canvas.setPointerCapture(mouse.pointerId);
  });
  canvas.addEventListener("pointermove", (mouse) => {
    if (!drag) {
      const event = eventAt(mouse);
      const row = event < 0 ? null : rows[of(event, MESSAGE)];
      canvas.title = row ? `${row.subject || shortId(row.id)}\n${summary(event)}\n` +
        `${clock(of(event, BEGUN))}, ${length(endOf(event) - of(event, BEGUN))}` : "";
      return;
    }
    const { left, right } = place();
    if (Math.abs(mouse.offsetX - drag.x) > 3) drag.moved = true;
    const by = (drag.x - mouse.offsetX) / (right - left) * (drag.to - drag.from);
    if (drag.moved) setView(drag.from + by, drag.to + by);
  });
  canvas.addEventListener("pointerup", (mouse) => {
    const event = drag && !drag.moved ? eventAt(mouse) : -1;
    drag = null;
    if (event >= 0) choose(rows[of(event, MESSAGE)], event);
  });
  canvas.addEventListener("pointercancel", () => { drag = null; });
  canvas.addEventListener("wheel", (wheel) => {
    if (!wheel.ctrlKey && !wheel.shiftKey && wheel.deltaX === 0 && wheel.offsetX < place().left) return;
    wheel.preventDefault();
    if (wheel.shiftKey || wheel.deltaX !== 0) move((wheel.deltaX || wheel.deltaY) / 1000);
    else zoom(wheel.deltaY > 0 ? 1.25 : 0.8, timeAt(wheel));
  }, { passive: false });

  // The chosen message, and lines

  function lineRow(line, thread) {
    const own = data.lines.threads[line] === thread;
    const level = data.levels[data.lines.levels[line]];
    return element("tr", { className: `${own ? "own" : "other"} ${level <= 500 ? "error" : ""}` },
      element("td", {}, clock(times[line])),
      element("td", {}, data.threads[data.lines.threads[line]]),
      element("td", {}, String(level)),
      element("td", {}, isolated(data.texts[data.lines.texts[line]])));
  }

  function linesTable(first, last, thread, ownOnly) {
    const body = element("tbody");
    const from = Math.max(0, first - AROUND), to = Math.min(times.length - 1, last + AROUND);
    const kept = [];
    for (let line = from; line <= to; line += 1) {
      if (!ownOnly || data.lines.threads[line] === thread) kept.push(line);
    }
    kept.forEach((line, place_) => {
      if (kept.length <= MOST_SHOWN || place_ < MOST_SHOWN / 2 ||
        place_ >= kept.length - MOST_SHOWN / 2) body.append(lineRow(line, thread));
      else if (place_ === MOST_SHOWN / 2) {
        body.append(element("tr", { className: "gap" }, element("td", { colSpan: 4 },
          `${kept.length - MOST_SHOWN} lines are not shown`)));
      }
    });
    if (!kept.length) {
      body.append(element("tr", { className: "gap" }, element("td", { colSpan: 4 },
        "The page does not hold these lines.")));
    }
    return element("div", { className: "lines", tabIndex: 0 }, element("table", {}, body));
  }

  let ownOnly = false;
  function linesSection(title, first, last, thread) {
    const section = element("div");
    const fill = () => section.replaceChildren(
      element("div", { className: "around" }, title,
        element("label", {}, box, ` of thread ${data.threads[thread]} alone`)),
      linesTable(first, last, thread, ownOnly));
    const box = element("input", { type: "checkbox", checked: ownOnly });
    box.addEventListener("change", () => { ownOnly = box.checked; fill(); });
    fill();
    return section;
  }

  function eventRow(event) {
    const made = element("tr", { className: event === chosenEvent ? "chosen" : "" });
    const name = element("button", { type: "button" }, data.roads[of(event, ROAD)]);
    name.addEventListener("click", () => choose(chosen, event));
    const arrival = element("button", { type: "button" }, clock(of(event, ARRIVED)));
    arrival.addEventListener("click", () => showLine(of(event, ARRIVAL)));
    const waited = of(event, ARRIVED) < of(event, BEGUN);
    made.append(element("td", {}, name),
      element("td", {}, element("span", { className: `sign o${of(event, OUTCOME)}` }),
        data.outcomes[of(event, OUTCOME)]),
      element("td", {}, isolated(data.reasons[of(event, REASON)])),
      element("td", {}, waited ? arrival : ""),
      element("td", {}, waited ? length(of(event, BEGUN) - of(event, ARRIVED)) : ""),
      element("td", {}, clock(of(event, BEGUN))),
      element("td", {}, length(of(event, CHECK))),
      element("td", { className: isSlow(event) ? "over" : "" }, length(of(event, HELD))),
      element("td", {}, data.threads[of(event, THREAD)]));
    return made;
  }

  function closeButton() {
    const button = element("button", { type: "button", id: "close", title: "close (Esc)" }, "\u00d7");
    button.addEventListener("click", () => choose(null));
    return button;
  }

  function showDetail() {
    const detail = byId("detail");
    detail.hidden = !chosen;
    if (!chosen) return;
    const head = ["event", "outcome", "why", "queued", "waited", "began", "check", "held Outlook",
      "thread"].map((name) => element("th", { scope: "col" }, name));
    detail.replaceChildren(closeButton(),
      element("h2", {}, isolated(chosen.subject || "(no subject in the trace)")),
      element("dl", {}, element("dt", {}, "Entry id"),
        element("dd", { className: "text" }, chosen.id || "not in the trace")),
      element("table", {}, element("thead", {}, element("tr", {}, ...head)),
        element("tbody", {}, ...chosen.events.slice(0, 200).map(eventRow))),
      linesSection(`Lines of the event, ${AROUND} before and after it`, of(chosenEvent, FIRST),
        of(chosenEvent, LAST), of(chosenEvent, THREAD)));
  }

  function showLine(line) {
    const detail = byId("detail");
    detail.hidden = false;
    detail.replaceChildren(closeButton(), element("h2", {}, "Lines"),
      linesSection("Lines around it", line - AROUND, line + 2 * AROUND, data.lines.threads[line]));
    if (line < times.length) {
      const span = view.to - view.from;
      if (times[line] < view.from || times[line] > view.to) {
        setView(times[line] - span / 2, times[line] + span / 2);
      }
    }
    showChart();
  }

  // Keys and buttons

  // Brings lanes and rows into sight, unless they are.
  function showChart() {
    const top = byId("chart").getBoundingClientRect().top;
    const room = byId("detail").getBoundingClientRect().top || window.innerHeight;
    if (top < 0 || top + 240 > room) byId("chart").scrollIntoView({ block: "start" });
  }
  function step(by) {
    const from = chosen ? shown.indexOf(chosen) : by > 0 ? -1 : shown.length;
    const row = shown[Math.min(Math.max(from + by, 0), shown.length - 1)];
    if (row) choose(row);
  }
  list.addEventListener("keydown", (key) => {
    const page = Math.max(1, Math.floor(list.clientHeight / ROW) - 1);
    const moves = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -1e9, End: 1e9 };
    if (key.key in moves) {
      step(moves[key.key]);
      key.preventDefault();
    }
  });
  document.addEventListener("keydown", (key) => {
    const typing = key.target.matches("input, select, textarea");
    if (key.ctrlKey || key.altKey || key.metaKey) return;
    if (key.key === "Escape" && !byId("detail").hidden) {
      choose(null);
    } else if (key.key === "Escape") {
      showAll();
      if (typing) list.focus();
    } else if (key.key === "Enter" && key.target === byId("search")) {
      if (shown.length) choose(shown[0]);
      list.focus();
    } else if (!typing) {
      const actions = { "/": () => byId("search").focus(), "+": () => zoom(0.5), "-": () => zoom(2),
        "0": () => setView(whole.from, whole.to) };
      if (key.target === canvas || key.target === list) {
        Object.assign(actions, { ArrowLeft: () => move(-0.2), ArrowRight: () => move(0.2) });
      }
      if (actions[key.key]) {
        actions[key.key]();
        key.preventDefault();
      }
    }
  });
  function showAll() {
    byId("search").value = "";
    wanted.clear();
    showWanted();
    select();
  }
  function showWanted() {
    for (const button of document.querySelectorAll("button[data-outcome]")) {
      button.setAttribute("aria-pressed", String(wanted.has(Number(button.dataset.outcome))));
    }
  }
  for (const button of document.querySelectorAll("button[data-outcome]")) {
    button.addEventListener("click", () => {
      const outcome = Number(button.dataset.outcome);
      if (!wanted.delete(outcome)) wanted.add(outcome);
      showWanted();
      select();
    });
  }
  for (const button of document.querySelectorAll("button[data-line]")) {
    button.addEventListener("click", () => showLine(Number(button.dataset.line)));
  }
  for (const button of document.querySelectorAll("button[data-message]")) {
    button.addEventListener("click", () => {
      choose(rows[Number(button.dataset.message)]);
      showChart();
    });
  }
  let pause = 0;
  byId("search").addEventListener("input", () => {
    clearTimeout(pause);
    pause = setTimeout(select, rows.length > 5000 ? 150 : 0);
  });
  byId("order").addEventListener("change", select);
  byId("fit").addEventListener("click", () => setView(whole.from, whole.to));
  byId("closer").addEventListener("click", () => zoom(0.5));
  byId("wider").addEventListener("click", () => zoom(2));
  byId("earlier").addEventListener("click", () => move(-0.4));
  byId("later").addEventListener("click", () => move(0.4));
  list.addEventListener("scroll", paint);
  window.addEventListener("resize", paint);
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", paint);

  if (severalDays) document.documentElement.style.setProperty("--began", "146px");
  for (const control of document.querySelectorAll(":disabled")) control.disabled = false;
  byId("chart").hidden = false;
  select();
  // A message can be linked to: #id=ENTRY-ID
  const asked = decodeURIComponent(location.hash.replace(/^#id=/, ""));
  const found = asked && rows.find((row) => row.id === asked);
  if (found) {
    choose(found);
    showChart();
  }
})();
