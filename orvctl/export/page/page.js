// The page: reads the figures that stand in it and shows one root at a time.
'use strict';

(function() {
  const data = JSON.parse(document.getElementById('data').textContent);
  const ROWS = 20;
  const YOUNG = 'var(--young)';
  const OLD = d3.interpolateRgbBasis(['#e0b13c', '#d97f3a', '#b8433d', '#6f2420']);
  const section = (id) => d3.select(`#${id}`);

  // An emptied section with its title; null, and hidden, when there is nothing to show.
  function begin(id, title, any) {
    const place = section(id);
    place.attr('hidden', any ? null : '').selectAll('*').remove();
    if (!any) return null;
    place.append('h2').text(title);
    return place;
  }

  function figures(place, title, columns, rows) {
    const details = place.append('details');
    details.append('summary').text('Figures');
    plainTable(details, title, columns, rows);
  }

  const column = (title, kind, value, more) => Object.assign({title, kind, value}, more);

  // ---- Head

  function cards(place, list) {
    const card = place.append('dl').attr('class', 'cards').selectAll('div')
        .data(list.filter((item) => item.value !== null && item.value !== undefined)).join('div');
    card.append('dt').text((item) => item.title);
    card.append('dd').attr('data-figure', (item) => item.id)
        .attr('data-value', (item) => item.value)
        .text((item) => (item.size ? sizeText : countText)(item.value))
        .filter((item) => item.note).append('small').text((item) => item.note);
  }

  function notReadLines(root) {
    const missed = root.not_read;
    const lines = [];
    if (!root.complete) lines.push('This filesystem was not walked to its end.');
    if (!missed) return lines;
    if (missed.unreadable > 0)
      lines.push(`${plural(missed.unreadable, 'entry', 'entries')} could not be read.`);
    if (missed.other_mounts.length > 0)
      lines.push(`Not entered, other filesystems: ${missed.other_mounts.join(', ')}`);
    if (missed.snapshots.length > 0)
      lines.push(`Not entered, snapshots: ${missed.snapshots.join(', ')}`);
    if (missed.too_deep > 0)
      lines.push(`Not entered, nested too deeply: ${plural(missed.too_deep, 'directory', 'directories')}`);
    if (missed.too_long > 0)
      lines.push(`Not read, paths too long: ${countText(missed.too_long)}`);
    return lines;
  }

  function showHead(root, statistics) {
    const place = section('head');
    place.selectAll('*').remove();
    const totals = statistics.totals || {};
    const room = root.capacity || {};
    const links = root.names_with_links;
    cards(place, [
      {id: 'bytes', title: 'Total size', value: totals.bytes, size: true,
       note: totals.bytes === undefined ? null : `${countText(totals.bytes)} bytes`},
      {id: 'files', title: 'Files and links', value: totals.files,
       note: links && links.files > 0 ? `${countText(links.files)} are names of files with several links` : null},
      {id: 'directories', title: 'Directories', value: totals.directories},
      {id: 'others', title: 'Other entries', value: totals.others},
      {id: 'capacity', title: 'Filesystem', value: room.bytes, size: true,
       note: room.bytes ? `${shareText(room.used_bytes, room.bytes)} used or reserved` +
         (root.df_used_bytes === null ? '' : `, df says ${sizeText(root.df_used_bytes)} used`) : null},
      {id: 'free', title: 'Free', value: room.free_bytes, size: true},
    ]);
    const lines = notReadLines(root).concat(root.not_met.map((path) => `No directory was met for ${path}`));
    if (lines.length > 0)
      place.append('div').attr('class', 'notice').attr('id', 'not-read').append('ul')
          .selectAll('li').data(lines).join('li').attr('class', 'name').text((line) => line);
  }

  // ---- Directories

  let redrawMap = null;  // whatever directory is open

  function showTree(root, statistics) {
    const any = root.tree.length > 0;
    section('directories').attr('hidden', any ? null : '');
    redrawMap = null;
    if (!any) return;
    const known = d3.sum(root.tree.filter((row) => row[0] < 0), (row) => row[2]);
    const bytes = Math.max(statistics.totals ? statistics.totals.bytes : 0, known);
    openNode(treeOf(root.path, bytes, root.tree), root, false);
  }

  // The focus follows the reader into a directory, because what was focused is gone.
  function openNode(node, root, moveFocus) {
    const open = (child) => openNode(child, root, true);
    const trail = [];
    for (let at = node; at !== null; at = at.parent) trail.unshift(at);
    const nav = section('trail');
    nav.selectAll('*').remove();
    trail.forEach((at, index) => {
      if (index > 0) nav.append('span').text(' › ');
      if (at === node)
        nav.append('strong').attr('class', 'name').attr('tabindex', -1).text(at.name);
      else
        nav.append('button').attr('type', 'button').attr('class', 'link name').text(at.name)
            .on('click', () => open(at));
    });
    redrawMap = () => treemap(section('map'), node, open);
    redrawMap();
    const level = section('level');
    level.selectAll('*').remove();
    sortableTable(level, `Directories in ${node.path}`, [
      column('Directory', 'name', (row) => row.name,
          {open: (row) => row.children.length > 0 ? () => open(row) : null}),
      column('Size', 'size', (row) => row.bytes),
      column('Share', 'share', (row) => node.bytes > 0 ? row.bytes / node.bytes : 0),
      column('Files', 'count', (row) => row.files),
      column('Directories', 'count', (row) => row.directories, {wide: true}),
    ], node.children, (row) => row.name, ROWS);
    if (root.subtree_depth_cut !== '')
      level.append('p').attr('class', 'faint').text(root.subtree_depth_cut);
    if (root.tree_cut > 0 && node.parent === null)
      level.append('p').attr('class', 'faint')
          .text(`${plural(root.tree_cut, 'smaller directory is', 'smaller directories are')} not on this page.`);
    if (moveFocus) nav.select('strong').node().focus();
  }

  document.addEventListener('keydown', (event) => {
    const up = section('trail').selectAll('button').nodes().pop();
    if (event.key === 'Escape' && up && !/^(INPUT|SELECT)$/.test(event.target.tagName)) up.click();
  });

  // ---- Distributions

  function rangeText(range) {
    const end = range.to === null ? null : sizeText(range.to);
    return end === null ? `from ${sizeText(range.from)}` : `up to ${end}`;
  }

  function ageRangeText(range) {
    if (range.from === null) return 'in the future';
    if (range.to === null) return `over ${ageText(range.from)}`;
    return range.from <= 0 ? `up to ${ageText(range.to)}` :
      `${ageText(range.from)} to ${ageText(range.to)}`;
  }

  function distribution(place, label, classes, text) {
    barChart(place, label, classes.map((range) => ({name: text(range), parts: [range.bytes]})),
        [YOUNG]);
    figures(place, label, [
      column('Class', 'text', text),
      column('Entries', 'count', (range) => range.entries),
      column('Size', 'size', (range) => range.bytes),
    ], classes);
  }

  function showDistributions(statistics) {
    const sizes = begin('sizes', 'By size of entry', statistics.sizes.length > 0);
    if (sizes) distribution(sizes, 'Size of all entries by the size of each', statistics.sizes, rangeText);
    const words = {accessed: 'last access', modified: 'last modification', created: 'creation',
                   backed_up: 'backup'};
    const ages = begin('ages', 'By age', statistics.ages.length > 0);
    for (const age of statistics.ages) {
      ages.append('h3').text(`Since ${words[age.by]}`);
      distribution(ages, `Size of all entries by time since ${words[age.by]}`, age.classes, ageRangeText);
    }
  }

  // ---- Accounts, types

  function showAccounts(id, title, list, more, limits) {
    const place = begin(id, title, list.length > 0);
    if (!place) return;
    const old = limits.length > 0 && list[0].unused.length === limits.length;
    const byWord = limits.length > 0 && limits[0].by === 'modified' ? 'modified' : 'accessed';
    const limitText = (limit) => `not ${byWord} for ${ageText(limit.min_age_seconds)}`;
    // Each limit counts all that is older, so what lies between two of them is their difference.
    const parts = (account) => {
      const over = old ? account.unused.map((unused) => unused.bytes) : [];
      return [account.bytes, ...over].map((bytes, index, all) =>
        Math.max(bytes - (index + 1 < all.length ? all[index + 1] : 0), 0));
    };
    const colours = [YOUNG, ...limits.map((limit, index) => OLD(index / Math.max(limits.length - 1, 1)))];
    if (old) {
      legend(place, ['younger', ...limits.map(limitText)], colours);
      if (byWord === 'modified')
        place.append('p').attr('class', 'faint').text('Access times are not kept there: by last modification.');
    }
    barChart(place, title, list.slice(0, ROWS).map((account) => ({name: account.name, parts: parts(account)})),
        colours);
    figures(place, title, [
      column('Name', 'name', (account) => account.name),
      column('Files', 'count', (account) => account.files),
      column('Directories', 'count', (account) => account.directories, {wide: true}),
      column('Size', 'size', (account) => account.bytes),
      ...(old ? limits : []).map((limit, index) =>
        column(limitText(limit), 'size', (account) => account.unused[index].bytes)),
      column('Largest file', 'size', (account) => account.largest_file_bytes, {wide: true}),
    ], list);
    moreLine(place, more);
  }

  function moreLine(place, more) {
    if (more > 0) place.append('p').attr('class', 'faint').text(`${countText(more)} more in the result.`);
  }

  function showTypes(statistics) {
    const place = begin('types', 'File types', statistics.file_types.length > 0);
    if (!place) return;
    sortableTable(place, 'By what follows the last dot of a name', [
      column('Type', 'name', (type) => type.extension),
      column('Files', 'count', (type) => type.files),
      column('Size', 'size', (type) => type.bytes),
    ], statistics.file_types, (type) => type.extension, ROWS);
    moreLine(place, statistics.more.file_types);
  }

  // ---- Files

  const RANKINGS = {
    largest_files: 'Largest files', least_accessed: 'Longest not accessed',
    oldest_not_backed_up: 'Longest not backed up', largest_orphans: 'Largest without owner',
    oldest_orphans: 'Oldest without owner',
  };
  const ENTRY_COLUMNS = [
    column('Path', 'name', (file) => file.path),
    column('Size', 'size', (file) => file.bytes),
    column('On disk', 'size', (file) => file.disk_bytes, {wide: true}),
    column('Modified', 'day', (file) => file.modified),
    column('Accessed', 'day', (file) => file.accessed, {wide: true}),
    column('Owner', 'name', (file) => file.owner, {wide: true}),
  ];

  function showFiles(statistics) {
    const rankings = statistics.rankings;
    const place = begin('files', 'Files', rankings.length > 0);
    if (!place) return;
    const tabs = place.append('div').attr('class', 'tools');
    const body = place.append('div');
    const show = (ranking) => {
      tabs.selectAll('button').attr('aria-pressed', (other) => String(other === ranking));
      body.selectAll('*').remove();
      if (ranking.misranked)
        body.append('p').attr('class', 'notice')
            .text('There are files of 2 GiB and more that can rank too low here or be missing.');
      if (ranking.files.length === 0)
        body.append('p').text('None.');
      else
        sortableTable(body, RANKINGS[ranking.kind], ENTRY_COLUMNS, ranking.files,
            (file) => `${file.path} ${file.owner}`, ROWS);
      moreLine(body, ranking.more);
    };
    tabs.selectAll('button').data(rankings).join('button').attr('type', 'button')
        .text((ranking) => RANKINGS[ranking.kind]).on('click', show);
    show(rankings[0]);
  }

  function showDirect(statistics) {
    const place = begin('direct', 'Directories by what lies directly in them',
        statistics.largest_directories.length > 0);
    if (!place) return;
    sortableTable(place, 'What lies deeper is not added', [
      column('Path', 'name', (directory) => directory.path),
      column('Size', 'size', (directory) => directory.direct.bytes),
      column('Files', 'count', (directory) => directory.direct.files),
      column('Owner', 'name', (directory) => directory.owner, {wide: true}),
    ], statistics.largest_directories, (directory) => directory.path, ROWS);
    moreLine(place, statistics.more.largest_directories);
  }

  // ---- Growth, warnings

  // By how much each line differs from what it was at the time `start`; before its first point it
  // was nothing. In sizes, the change of a large directory could not be seen.
  function changeLines(lines, start) {
    return lines.map((line) => {
      const [time, bytes] = line.points[0];
      const base = time > start ? 0 : bytes;
      return {name: line.name, points: line.points.map((point) => [point[0], point[1] - base])};
    });
  }

  function showGrowth(root) {
    const growth = data.growth.find((candidate) => candidate.path === root.path);
    const drawable = (lines) => lines.filter((line) => line.points.length > 1);
    const whole = growth ? drawable([growth.total, growth.used]) : [];
    const place = begin('growth', 'Growth', whole.length > 0);
    if (!place) return;
    place.append('p').text(growth.trend);
    lineChart(place, 'Size over time', whole);
    const parts = drawable(growth.directories);
    if (parts.length > 0) {
      place.append('h3').text('Directories that changed most, by how much since the first scan');
      lineChart(place, 'Change of directories since the first scan',
          changeLines(parts, growth.total.points[0][0]));
    }
    figures(place, 'First and last scan of each line', [
      column('What', 'name', (line) => line.name),
      column('Scans', 'count', (line) => line.scans),
      column('First', 'size', (line) => line.points[0][1]),
      column('Last', 'size', (line) => line.points[line.points.length - 1][1]),
    ], whole.concat(parts));
  }

  function showWarnings() {
    const run = data.run;
    const place = begin('warnings', 'Warnings', run !== null && run.warning_count > 0);
    if (!place) return;
    place.append('p').text(`${plural(run.warning_count, 'warning', 'warnings')} in ${run.log}`);
    place.append('ul').selectAll('li').data(run.warnings).join('li').attr('class', 'name')
        .text((warning) => warning);
  }

  // ---- All of it

  function redraw() {
    if (redrawMap) redrawMap();
    for (const draw of drawings) draw();
  }

  function show(view) {
    drawings = [];
    const root = data.roots[view.root];
    const statistics = view.statistics;
    document.title = `Scan of ${view.label}`;
    section('title').attr('class', 'name').text(document.title);
    const took = data.run && data.run.seconds !== null ? `, took ${data.run.seconds.toFixed(1)} s` : '';
    const when = root.scanned === null ? 'at an unknown time' :
      `${root.scanned.slice(0, 16).replace('T', ' ')} UTC`;
    section('when').text(`${data.host ? `${data.host}, ` : ''}${when}${took}; profile ${view.profile}`);
    showHead(root, statistics);
    showTree(root, statistics);
    showGrowth(root);
    showDistributions(statistics);
    showAccounts('owners', root.age_limits.length > 0 ? 'Owners, and what they have not used for long' : 'Owners',
        statistics.owners, statistics.more.owners, root.age_limits);
    showAccounts('groups', 'Groups', statistics.groups, statistics.more.groups, root.age_limits);
    showTypes(statistics);
    showFiles(statistics);
    showDirect(statistics);
  }

  const chooser = section('views');
  chooser.selectAll('option').data(data.views).join('option').attr('value', (view, index) => index)
      .text((view) => `${view.label} (${view.profile})`);
  section('chooser').attr('hidden', data.views.length > 1 ? null : '');
  chooser.on('change', function() { show(data.views[this.value]); });
  if (data.views_cut > 0)
    section('chooser').append('span').text(` ${countText(data.views_cut)} more in the result`);
  showWarnings();
  section('footer').text(`Made by orvctl ${data.version} from ${data.result}`);
  show(data.views[0]);
  window.addEventListener('resize', redraw);
  window.addEventListener('beforeprint', () => {
    d3.selectAll('details').attr('open', '');
  });
})();
