-- Turns the project's pages into manual pages: their second-level headings become sections, links
-- to other pages name the manual page that is made from them, tables fit the width of a terminal.

local pages = {
  ["orvctl.md"] = "orvctl(1)",
  ["scan.md"] = "scan(8)",
  ["definition-format.md"] = "orvscan-definition(5)",
  ["result-format.md"] = "orvscan-result(5)",
  ["where-clauses.md"] = "orvscan-where(7)",
}

local TEXT_WIDTH = 68  -- of a table, in characters

function Header(header)
  if header.level == 1 then
    return {}
  end
  header.level = header.level - 1
  if header.level == 1 then
    header.content = { pandoc.Str(pandoc.utils.stringify(header.content):upper()) }
  end
  return header
end

function Link(link)
  local file = link.target:gsub("#.*", "")
  local words = pandoc.utils.stringify(link.content)
  if pages[file] then
    return { pandoc.Str(words), pandoc.Space(), pandoc.Str("(" .. pages[file] .. ")") }
  end
  if file:match("%.md$") then
    return { pandoc.Str(words), pandoc.Space(), pandoc.Str("(" .. file .. ")") }
  end
  return link.content
end

function Image()
  return {}
end

-- Inside a table the pages escape the bar, in code, too.
function Code(code)
  code.text = code.text:gsub("\\|", "|")
  return code
end

-- What a column needs: for its widest cell, and at least for its longest word.
local function needs(rows, column)
  local widest, longest = 1, 1
  for _, row in ipairs(rows) do
    local text = row[column] and pandoc.utils.stringify(row[column]) or ""
    widest = math.max(widest, utf8.len(text))
    for word in text:gmatch("%S+") do
      longest = math.max(longest, utf8.len(word))
    end
  end
  return widest, longest
end

-- A table that is too wide: every column gets what it needs while there is room, and the others
-- share what is left.
function Table(tbl)
  local simple = pandoc.utils.to_simple_table(tbl)
  local rows = { simple.headers, table.unpack(simple.rows) }
  local widths, least, total, open = {}, {}, 0, {}
  for column = 1, #simple.aligns do
    widths[column], least[column] = needs(rows, column)
    total = total + widths[column] + 3
    open[column] = true
  end
  if total <= TEXT_WIDTH then
    return tbl
  end
  local room, count, settled = TEXT_WIDTH - 3 * #widths, #widths, false
  while not settled do
    settled = true
    for column in pairs(open) do
      local share = room / count
      local width = widths[column] <= share and widths[column] or least[column] > share and least[column]
      if width then
        widths[column], open[column], settled = width, nil, false
        room, count = room - width, count - 1
        break
      end
    end
  end
  for column in pairs(open) do
    widths[column] = room / count
  end
  for column, width in ipairs(widths) do
    simple.widths[column] = width / (TEXT_WIDTH + 2)
  end
  return pandoc.utils.from_simple_table(simple)
end

-- Narrow columns look torn when they are justified, and names are not to be broken.
function Pandoc(doc)
  table.insert(doc.blocks, 1, pandoc.RawBlock("man", ".nh\n.ad l"))
  return doc
end
