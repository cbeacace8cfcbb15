// Figures as people read them, and tables that can be sorted and filtered. Names only ever become
// text, never markup.
'use strict';

const UNITS = ['B', 'KiB', 'MiB', 'GiB', 'TiB', 'PiB', 'EiB'];

function sizeText(bytes) {
  let value = bytes;
  let unit = 0;
  while (unit + 1 < UNITS.length && Math.abs(value) >= (unit === 0 ? 1024 : 1023.95)) {
    value /= 1024;
    ++unit;
  }
  return unit === 0 ? `${bytes} B` : `${value.toFixed(1)} ${UNITS[unit]}`;
}

const countText = (count) => count.toLocaleString('en-US');
const shareText = (part, whole) => whole > 0 ? `${(100 * part / whole).toFixed(1)}%` : '-';
const dayText = (time) => time === null ? 'no calendar date' : time.slice(0, 10);

function plural(count, one, many) {
  return `${countText(count)} ${count === 1 ? one : many}`;
}

function ageText(seconds) {
  const units = [[31557600, 'year', 'years'], [86400, 'day', 'days'], [3600, 'hour', 'hours']];
  for (const [length, one, many] of units)
    if (seconds >= length && seconds % length === 0) return plural(seconds / length, one, many);
  return plural(seconds, 'second', 'seconds');
}

// How a column shows its values; `value` is what it sorts by and what a reader of the page finds
// in the attribute data-value.
const KINDS = {
  name: {className: 'name', text: (value) => value},
  text: {className: '', text: (value) => value},
  size: {className: 'figure', text: sizeText, title: (value) => `${countText(value)} bytes`},
  count: {className: 'figure', text: countText},
  share: {className: 'figure wide', text: (value) => `${(100 * value).toFixed(1)}%`},
  day: {className: 'day', text: dayText, title: (value) => value || ''},
};

// Fills `cells` (a selection of td with [value, column] as data).
function fillCells(cells) {
  cells.attr('class', ([, column]) => `${KINDS[column.kind].className} ${column.wide ? 'wide' : ''}`)
      .attr('data-value', ([value]) => value)
      .attr('title', ([value, column]) => (KINDS[column.kind].title || (() => null))(value))
      .text(([value, column]) => KINDS[column.kind].text(value));
}

// A table under `parent`. Columns: {title, kind, value: row => ..., wide: left out on small screens,
// open: row => function or null, which makes the cell a button}.
function plainTable(parent, caption, columns, rows) {
  const table = parent.append('div').attr('class', 'scroll').append('table');
  table.append('caption').text(caption);
  table.append('thead').append('tr').selectAll('th').data(columns).join('th')
      .attr('scope', 'col')
      .attr('class', (column) => `${KINDS[column.kind].className} ${column.wide ? 'wide' : ''}`)
      .text((column) => column.title);
  const body = table.append('tbody');
  showRows(body, columns, rows);
  return table;
}

function showRows(body, columns, rows) {
  body.selectAll('tr').data(rows).join('tr').each(function(row) {
    const cells = d3.select(this).selectAll('td')
        .data(columns.map((column) => [column.value(row), column])).join('td');
    fillCells(cells);
    cells.filter(([, column]) => column.open && column.open(row)).each(function([value, column]) {
      d3.select(this).text('').append('button').attr('class', 'link name').attr('type', 'button')
          .text(value).on('click', column.open(row));
    });
  });
}

// The same with header buttons that sort, a field that filters by `words(row)`, and the first
// `limit` rows until all are asked for.
function sortableTable(parent, caption, columns, rows, words, limit) {
  const state = {column: null, down: false, filter: '', limit};
  const tools = parent.append('div').attr('class', 'tools');
  const field = tools.append('label').text('Filter ').append('input').attr('type', 'search');
  const count = tools.append('span').attr('class', 'faint').attr('role', 'status');
  const table = plainTable(parent, caption, columns, []);
  const body = table.select('tbody');
  const more = parent.append('button').attr('type', 'button').text('Show all');

  function update() {
    const wanted = state.filter.toLowerCase();
    let shown = rows.filter((row) => words(row).toLowerCase().includes(wanted));
    if (state.column) {
      const order = state.down ? d3.descending : d3.ascending;
      shown = shown.slice().sort((a, b) => order(state.column.value(a), state.column.value(b)));
    }
    const cut = shown.slice(0, state.limit);
    count.text(`${countText(cut.length)} of ${countText(rows.length)}`);
    more.attr('hidden', cut.length < shown.length ? null : '');
    showRows(body, columns, cut);
    table.selectAll('th').attr('aria-sort', (column) =>
      column !== state.column ? 'none' : state.down ? 'descending' : 'ascending');
  }

  table.selectAll('th').text('').append('button').attr('type', 'button')
      .text((column) => column.title)
      .on('click', (column) => {
        // Figures are first wanted from the largest on.
        state.down = state.column === column ? !state.down :
          KINDS[column.kind].className.startsWith('figure');
        state.column = column;
        update();
      });
  field.on('input', function() {
    state.filter = this.value;
    update();
  });
  more.on('click', () => {
    state.limit = Infinity;
    update();
  });
  update();
}
