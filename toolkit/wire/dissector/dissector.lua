-- What stands above is made of toolkit/wire/table.cpp. A packet is a frame between a host and a
-- smart-card reader: link type USER0, outbound to the reader.

local reader = Proto("quorra", "Smart-card reader")

local HEADER = 4
local ARGUMENTS = HEADER + 5
local REQUEST_START, REPLY_START = 0xAA, 0x55

local f = {
  command = ProtoField.uint8("quorra.command", "Command", base.HEX),
  flag = ProtoField.uint8("quorra.flag", "Flag", base.HEX),
  length = ProtoField.uint8("quorra.length", "Length"),
  card = ProtoField.uint8("quorra.card", "Card type", base.HEX),
  variant = ProtoField.uint8("quorra.variant", "Variant", base.HEX),
  zone = ProtoField.uint8("quorra.zone", "Zone"),
  page = ProtoField.uint16("quorra.page", "Page"),
  address = ProtoField.uint16("quorra.address", "Address", base.HEX),
  count = ProtoField.uint8("quorra.count", "Count"),
  data = ProtoField.bytes("quorra.data", "Data"),
  code = ProtoField.bytes("quorra.code", "Code"),
  text = ProtoField.string("quorra.text", "Text"),
  status = ProtoField.uint8("quorra.status", "Status", base.HEX),
  check = ProtoField.uint8("quorra.check", "Check byte", base.HEX),
  request_in = ProtoField.framenum("quorra.request_in", "Request in", base.NONE, frametype.REQUEST),
  reply_in = ProtoField.framenum("quorra.reply_in", "Reply in", base.NONE, frametype.RESPONSE),
  took = ProtoField.relative_time("quorra.took", "The reader took"),
  block = ProtoField.bytes("quorra.block", "T=1 block"),
}
reader.fields = f

local e = {
  wrong_check = ProtoExpert.new("quorra.check.wrong", "The check byte is wrong",
    expert.group.CHECKSUM, expert.severity.WARN),
  partial = ProtoExpert.new("quorra.partial", "The frame is not complete",
    expert.group.MALFORMED, expert.severity.WARN),
  stray = ProtoExpert.new("quorra.stray", "Bytes outside frames",
    expert.group.MALFORMED, expert.severity.NOTE),
}
reader.experts = e

local apdu = Dissector.get("iso7816")
local answer_to_reset = Dissector.get("iso7816.atr")

-- Known of packets since they were first seen, by their numbers.
local exchanges, information, status_words
local last_request, chains, is_virtual

function reader.init()
  exchanges, information, status_words = {}, {}, {}
  last_request, chains, is_virtual = nil, { "", "" }, nil
end

local function card_type(number, variant)
  local found
  for _, row in ipairs(card_types) do
    if row.number == number then
      if row.variant == variant then return row end
      found = found or row
    end
  end
  return found
end

local function exclusive_or(range)
  local sum = 0
  for i = 0, range:len() - 1 do sum = bit.bxor(sum, range:range(i, 1):uint()) end
  return sum
end

-- Adds the bytes of a memory, with codes by their name. `width` bytes stand for each unit.
local function add_memory(tree, range, asked, width)
  local codes = {}
  local type = card_type(asked.card, asked.variant)
  for _, area in ipairs(code_areas) do
    if type and area.card == asked.card and area.variant == type.variant and
        (area.command == 0 or area.command == asked.command) then
      local from = math.max(area.address - asked.address, 0) * width
      local to = math.min((area.address + area.count - asked.address) * width, range:len())
      if from < to then codes[#codes + 1] = { from, to, area.words } end
    end
  end
  tree:add(f.data, range)
  for _, code in ipairs(codes) do
    tree:add(f.code, range:range(code[1], code[2] - code[1])):append_text(" (" .. code[3] .. ")")
  end
end

-- What is for or from a processor card: an APDU, or a block of T=1 with one, or with a part of it.
local function add_card_bytes(tree, range, pinfo, root, is_request)
  local size = range:len()
  local is_block = size >= 4 and range:range(2, 1):uint() + 4 == size and exclusive_or(range) == 0
  if not is_block then
    if size >= 2 then apdu:call(range:tvb(), pinfo, root) end
    return
  end
  tree:add(f.block, range)
  local control = range:range(1, 1):uint()
  if bit.band(control, 0x80) ~= 0 then return end
  local side = is_request and 1 or 2
  if not information[pinfo.number] then
    local part = size > 4 and range:range(3, size - 4):bytes():tohex() or ""
    local whole = chains[side] .. part
    local goes_on = bit.band(control, 0x20) ~= 0
    chains[side] = goes_on and whole or ""
    information[pinfo.number] = { whole = whole, goes_on = goes_on, is_chain = whole ~= part }
  end
  local known = information[pinfo.number]
  if known.goes_on or #known.whole < 4 then return end
  if known.is_chain then
    apdu:call(ByteArray.new(known.whole):tvb("APDU"), pinfo, root)
  else
    apdu:call(range:range(3, size - 4):tvb(), pinfo, root)
  end
end

local function add_request(tree, tvb, pinfo, root, last)
  local number = tvb(1, 1):uint()
  local command = commands[number] or { words = "command", arguments = "none", answer = "none" }
  local words = command.words
  tree:add(f.command, tvb(1, 1)):append_text(" (" .. command.words .. ")")
  if tvb:len() > 2 then tree:add(f.flag, tvb(2, 1)) end
  if tvb:len() > 3 then tree:add(f.length, tvb(3, 1)) end
  if not pinfo.visited then
    last_request = { number = pinfo.number, time = pinfo.abs_ts, command = number,
                     answer = command.answer, card = 0, variant = 0, address = 0 }
    exchanges[pinfo.number] = last_request
  end
  local asked = exchanges[pinfo.number]
  if last <= HEADER then return words end

  local card = tvb(HEADER, 1):uint()
  local variant = last > HEADER + 1 and tvb(HEADER + 1, 1):uint() or 0
  local type = card_type(card, variant) or { words = string.format("card type 0x%02X", card) }
  asked.card, asked.variant = card, variant
  words = words .. ", " .. type.words
  tree:add(f.card, tvb(HEADER, 1)):append_text(" (" .. type.words .. ")")
  if last < ARGUMENTS then return words end
  if type.place == "variant_and_zone" then tree:add(f.variant, tvb(HEADER + 1, 1)) end
  if type.place == "zone" or type.place == "variant_and_zone" then
    tree:add(f.zone, tvb(HEADER + 2, 1))
    words = words .. ", zone " .. tvb(HEADER + 2, 1):uint()
  elseif type.place == "page" then
    tree:add(f.page, tvb(HEADER + 1, 2))
    words = words .. ", page " .. tvb(HEADER + 1, 2):uint()
  end
  asked.address = tvb(HEADER + 3, 2):uint()
  local size = last - ARGUMENTS
  local has_address = command.answer ~= "text" and command.answer ~= "code"
  if has_address and (command.arguments == "count" or command.arguments == "data") then
    tree:add(f.address, tvb(HEADER + 3, 2))
    words = words .. string.format(", address 0x%04X", asked.address)
  end
  if command.arguments == "count" and size >= 2 then
    tree:add(f.count, tvb(ARGUMENTS + 1, 1))
    words = words .. ", count " .. tvb(ARGUMENTS + 1, 1):uint()
  elseif size > 0 and command.arguments == "for_card" then
    add_card_bytes(tree, tvb(ARGUMENTS, size), pinfo, root, true)
  elseif size > 0 and command.arguments == "code" then
    tree:add(f.code, tvb(ARGUMENTS, size))
  elseif size > 0 and command.arguments == "data" then
    words = words .. ", count " .. size
    add_memory(tree, tvb(ARGUMENTS, size), asked, 1)
  elseif size > 0 then
    tree:add(f.data, tvb(ARGUMENTS, size))
  end
  return words
end

local function add_reply(tree, tvb, pinfo, root, last)
  local status = tvb(1, 1):uint()
  if not status_words[pinfo.number] then
    local has_words = status == 0 or is_virtual ~= false
    status_words[pinfo.number] = has_words and statuses[status] or "refused"
  end
  local words = status_words[pinfo.number]
  tree:add(f.status, tvb(1, 1)):append_text(" (" .. words .. ")")
  if status ~= 0 then words = string.format("status 0x%02X: %s", status, words) end
  if tvb:len() > 3 then tree:add(f.length, tvb(3, 1)) end
  if not pinfo.visited and last_request and not last_request.reply then
    last_request.reply = pinfo.number
    last_request.took = pinfo.abs_ts - last_request.time
    exchanges[pinfo.number] = last_request
  end
  local asked = exchanges[pinfo.number]
  if asked then
    tree:add(f.request_in, asked.number):set_generated()
    tree:add(f.took, NSTime.new(math.floor(asked.took), math.floor(asked.took % 1 * 1e9)))
      :set_generated()
  end
  local size = last - HEADER
  if size <= 0 then return words end
  local range = tvb(HEADER, size)
  local answer = asked and asked.answer or "none"
  if answer == "answer_to_reset" then
    answer_to_reset:call(range:tvb(), pinfo, root)
  elseif answer == "from_card" then
    add_card_bytes(tree, range, pinfo, root, false)
  elseif answer == "text" then
    tree:add(f.text, range, range:string())
    if size >= #virtual_reader then
      is_virtual = range:range(0, #virtual_reader):string() == virtual_reader
    end
  elseif answer == "code" then
    tree:add(f.data, range)
    if size > 1 then tree:add(f.code, range:range(1)) end
  elseif answer == "data" or answer == "data_with_marks" then
    add_memory(tree, range, asked, answer == "data" and 1 or 2)
  else
    tree:add(f.data, range)
  end
  return words .. ", " .. size .. (size == 1 and " byte" or " bytes")
end

-- Whether the check byte is right: over all bytes or, in an exchange with a processor card, over
-- those that are not for the card.
local function check_is_right(tvb)
  if exclusive_or(tvb()) == 0 then return true end
  local command = commands[tvb(1, 1):uint()]
  return tvb(0, 1):uint() == REQUEST_START and command and command.arguments == "for_card" and
    tvb:len() > ARGUMENTS + 1 and
    exclusive_or(tvb(0, ARGUMENTS)) == tvb(tvb:len() - 1, 1):uint()
end

function reader.dissector(tvb, pinfo, root)
  pinfo.cols.protocol = "quorra"
  local size = tvb:len()
  local tree = root:add(reader, tvb())
  if size == 0 then return end
  local start = tvb(0, 1):uint()
  local is_request = pinfo.p2p_dir == P2P_DIR_SENT or
    (pinfo.p2p_dir ~= P2P_DIR_RECV and start == REQUEST_START)
  pinfo.cols.src = is_request and "host" or "reader"
  pinfo.cols.dst = is_request and "reader" or "host"
  if size < 2 or start ~= (is_request and REQUEST_START or REPLY_START) then
    tree:add_proto_expert_info(e.stray)
    tree:add(f.data, tvb())
    pinfo.cols.info = size .. (size == 1 and " stray byte" or " stray bytes")
    return
  end

  local is_whole = size > 3 and size == HEADER + tvb(3, 1):uint() + 1
  local last = is_whole and size - 1 or size
  local words = (is_request and add_request or add_reply)(tree, tvb, pinfo, root, last)
  if is_request and exchanges[pinfo.number] and exchanges[pinfo.number].reply then
    tree:add(f.reply_in, exchanges[pinfo.number].reply):set_generated()
  end
  if is_whole then
    local right = check_is_right(tvb)
    local check = tree:add(f.check, tvb(last, 1))
    check:append_text(right and " (right)" or " (wrong)")
    if not right then check:add_proto_expert_info(e.wrong_check) end
  else
    tree:add_proto_expert_info(e.partial)
    words = "partial frame: " .. words
  end
  tree:append_text(", " .. words)
  pinfo.cols.info = words
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, reader)
