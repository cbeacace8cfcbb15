-- Turns the project's pages into manual pages: their second-level headings become sections, links
-- to other pages name the manual page that is made from them, wide tables become lists.

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

-- A table that is wider than a terminal becomes a list: the first column names what the second
-- tells, and further ones follow with their headings.
function Table(tbl)
  local simple = pandoc.utils.to_simple_table(tbl)
  local total = 0
  for column = 1, #simple.aligns do
    local widest = 0
    for _, row in ipairs({ simple.headers, table.unpack(simple.rows) }) do
      widest = math.max(widest, row[column] and utf8.len(pandoc.utils.stringify(row[column])) or 0)
    end
    total = total + widest + 3
  end
  if total <= TEXT_WIDTH then
    -- As wide as its cells, however long the lines of the source are.
    for column = 1, #simple.widths do
      simple.widths[column] = 0
    end
    return pandoc.utils.from_simple_table(simple)
  end
  local items = {}
  for _, row in ipairs(simple.rows) do
    local term = pandoc.utils.blocks_to_inlines(row[1])
    local told = { table.unpack(row[2]) }
    for column = 3, #row do
      local heading = pandoc.utils.stringify(simple.headers[column])
      local inlines = pandoc.utils.blocks_to_inlines(row[column])
      if #inlines > 0 then
        table.insert(inlines, 1, pandoc.Str(heading == "" and "" or heading .. ": "))
        told[#told + 1] = pandoc.Plain(inlines)
      end
    end
    items[#items + 1] = { { pandoc.Strong(term) }, { told } }
  end
  return pandoc.DefinitionList(items)
end

-- Short lines look torn when they are justified, and names are not to be broken.
function Pandoc(doc)
  table.insert(doc.blocks, 1, pandoc.RawBlock("man", ".nh\n.ad l"))
  return doc
end
