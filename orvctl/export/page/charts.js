// The drawings. Each has its figures in a table beside it, which is what a screen reader is given.
'use strict';

// What has to be drawn again when there is more or less room.
let drawings = [];

// Draws now and whenever the room changes: `draw(svg, width)` fills an empty drawing. Letters keep
// their size, so that a narrow screen shows them as well as a wide one.
function chart(parent, height, label, draw) {
  const place = parent.append('div').attr('class', 'chart');
  drawings.push(() => {
    const width = Math.max(place.node().getBoundingClientRect().width, 240);
    place.selectAll('*').remove();
    draw(place.append('svg').attr('viewBox', `0 0 ${width} ${height}`)
        .attr('role', 'img').attr('aria-label', label), width);
  });
  drawings[drawings.length - 1]();
}

// Horizontal bars of stacked parts. Rows: {name, parts: [bytes, ...]}; `colours` one per part.
function barChart(parent, label, rows, colours) {
  const height = rows.length * 22;
  const total = (row) => d3.sum(row.parts);
  chart(parent, height, label, (svg, width) => {
    const left = Math.min(150, width * 0.4);
    const x = d3.scaleLinear().domain([0, d3.max(rows, total) || 1]).range([left, width - 70]);
    const y = d3.scaleBand().domain(d3.range(rows.length)).range([0, height]).padding(0.2);
    const line = svg.selectAll('g').data(rows).join('g')
        .attr('transform', (row, index) => `translate(0,${y(index)})`);
    line.append('text').attr('x', left - 6).attr('y', y.bandwidth() / 2).attr('dy', '0.35em')
        .attr('text-anchor', 'end').text((row) => cutText(row.name, Math.floor(left / 7)));
    line.selectAll('rect').data((row) => {
      const ends = cumulated(row.parts);
      return row.parts.map((part, index) => ({from: ends[index] - part, to: ends[index], index}));
    }).join('rect')
        .attr('x', (part) => x(part.from))
        // What is not nothing shows.
        .attr('width', (part) => part.to > part.from ? Math.max(x(part.to) - x(part.from), 1) : 0)
        .attr('height', y.bandwidth())
        .style('fill', (part) => colours[part.index]);
    line.append('text').attr('x', (row) => x(total(row)) + 5).attr('y', y.bandwidth() / 2)
        .attr('dy', '0.35em').text((row) => sizeText(total(row)));
  });
}

function cumulated(parts) {
  let sum = 0;
  return parts.map((part) => sum += part);
}

function cutText(text, length) {
  const characters = Array.from(text);
  return characters.length <= length ? text :
    '…' + characters.slice(characters.length - length + 1).join('');
}

function legend(parent, names, colours) {
  parent.append('ul').attr('class', 'legend').selectAll('li').data(names).join('li')
      .each(function(name, index) {
        d3.select(this).append('i').style('background', colours[index]);
        d3.select(this).append('span').attr('class', 'name').text(name);
      });
}

// Lines over time. Lines: {name, points: [[milliseconds, bytes], ...]}; 0 is always on the chart.
function lineChart(parent, label, lines) {
  const height = 240;
  const margin = {left: 66, right: 12, top: 8, bottom: 24};
  const points = d3.merge(lines.map((line) => line.points));
  const colours = lines.map((line, index) => d3.schemeTableau10[index % 10]);
  const lowest = Math.min(d3.min(points, (point) => point[1]), 0);
  const highest = Math.max(d3.max(points, (point) => point[1]), 0, lowest + 1);
  // Ticks at round numbers of the unit that the figures are shown in.
  const unit = 1024 ** Math.floor(Math.log(Math.max(highest, -lowest)) / Math.log(1024));
  const ticks = d3.ticks(lowest / unit, highest / unit, 5).map((tick) => tick * unit);
  chart(parent, height, label, (svg, width) => {
    const x = d3.scaleUtc().domain(d3.extent(points, (point) => new Date(point[0])))
        .range([margin.left, width - margin.right]);
    const y = d3.scaleLinear().domain([lowest, highest])
        .range([height - margin.bottom, margin.top]);
    svg.append('g').attr('class', 'axis')
        .attr('transform', `translate(0,${height - margin.bottom})`)
        .call(d3.axisBottom(x).ticks(Math.max(width / 90, 2)));
    svg.append('g').attr('class', 'axis').attr('transform', `translate(${margin.left},0)`)
        .call(d3.axisLeft(y).tickValues(ticks).tickFormat(sizeText));
    svg.append('g').attr('class', 'axis').append('line').attr('x1', margin.left)
        .attr('x2', width - margin.right).attr('y1', y(0)).attr('y2', y(0));
    const path = d3.line().x((point) => x(new Date(point[0]))).y((point) => y(point[1]));
    svg.append('g').selectAll('path').data(lines).join('path').attr('fill', 'none')
        .attr('stroke-width', 2).attr('stroke', (line, index) => colours[index])
        .attr('d', (line) => path(line.points));
  });
  legend(parent, lines.map((line) => line.name), colours);
}

// The directories of a root as a tree: rows are [parent, name, bytes, files, directories], parents
// first, the parent -1 being the root. What a directory holds beside its listed children is its own.
function treeOf(path, bytes, rows) {
  const root = {name: path, path, bytes, files: null, directories: null, children: [], parent: null};
  const nodes = [];
  for (const [parent, name, size, files, directories] of rows) {
    const above = parent < 0 ? root : nodes[parent];
    const node = {name, path: (above.path === '/' ? '' : above.path) + '/' + name, bytes: size,
                  files, directories, children: [], parent: above};
    above.children.push(node);
    nodes.push(node);
  }
  return root;
}

const MAP_TILES = 60;
const MAP_INNER = 15;

// What is drawn of `node`: its largest children, what they hold, and the rest in one tile.
function mapData(node, limit, depth) {
  const shown = node.children.slice(0, limit);
  const rest = Math.max(node.bytes - d3.sum(shown, (child) => child.bytes), 0);
  const children = shown.map((child) => ({
    node: child,
    own: child.bytes,
    children: depth > 1 && child.children.length > 0 ?
      mapData(child, MAP_INNER, depth - 1).children : undefined,
  }));
  if (rest > 0 || children.length === 0)
    children.push({node: null, own: rest, children: undefined});
  return {node, children};
}

// Draws `node` as a treemap of two levels; `open` is called with a child that has children.
function treemap(parent, node, open) {
  const box = parent.node().getBoundingClientRect();
  const data = d3.hierarchy(mapData(node, MAP_TILES, 2))
      .sum((item) => item.children ? 0 : item.own);
  d3.treemap().size([Math.max(box.width - 2, 1), Math.max(box.height - 2, 1)])
      .paddingTop((item) => item.depth === 1 ? 16 : 0).paddingInner(0).round(true)(data);
  parent.selectAll('*').remove();
  // In shares of the width, because paper may be narrower than the screen.
  const share = (x) => `${100 * x / Math.max(box.width - 2, 1)}%`;
  const place = (selection) => selection
      .style('left', (item) => share(item.x0)).style('top', (item) => `${item.y0}px`)
      .style('width', (item) => share(item.x1 - item.x0))
      .style('height', (item) => `${item.y1 - item.y0}px`)
      .style('--hue', (item) => 360 * ((item.depth === 1 ? item : item.parent).parent.children
          .indexOf(item.depth === 1 ? item : item.parent) * 0.381966 % 1));
  const nameOf = (item) => item.data.node ? item.data.node.name : '(files and smaller directories)';
  const bytesOf = (item) => item.data.node ? item.data.node.bytes : item.value;
  const label = (item) => `${nameOf(item)}, ${sizeText(bytesOf(item))}, ` +
    shareText(bytesOf(item), node.bytes);
  // Too small to be seen or hit; the table has them.
  const seen = (data.children || []).filter((item) => item.x1 - item.x0 > 4 && item.y1 - item.y0 > 4);
  for (const item of seen) {
    const child = item.data.node;
    const opens = child !== null && child.children.length > 0;
    const tile = place(parent.append(opens ? 'button' : 'div').datum(item))
        .attr('class', 'tile name').attr('title', label);
    tile.append('span').text(`${nameOf(item)} ${sizeText(bytesOf(item))}`);
    if (opens)
      tile.attr('type', 'button').attr('aria-label', `${label(item)}, open`)
          .on('click', () => open(child));
  }
  const inner = seen.flatMap((item) => item.children || []);
  place(parent.selectAll('.inner').data(inner.filter((item) => item.x1 - item.x0 > 24 &&
    item.y1 - item.y0 > 14)).join('div')).attr('class', 'inner name').attr('aria-hidden', 'true')
      .text(nameOf);
}
