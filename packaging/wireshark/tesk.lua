-- Wireshark dissector for captures of a tesk chassis: shows the header in front of a frame on the in-band device, and
-- what happened to a frame in the daemon. docs/wireshark.md lists the fields and describes the captures that it reads.
--
--   kestrix   dissects a packet of an in-band device: one of the two ASIC headers, then the Ethernet frame. The
--             packet's direction decides which header it is; the bytes alone do not show it.
--   tesk      runs after every other dissector, on every packet: links the same frame before and after the daemon,
--             and shows why a frame was dropped.

-- ---- the headers -----------------------------------------------------------------------------------------------
--
-- A field is {abbreviation, name, base, pieces}; a piece is {byte, highest bit, lowest bit, first bit of the field},
-- bits numbered 7 (most significant) to 0. A field that does not fit one byte has several pieces, lowest bits first.

local HEADER_BYTES = 10

local TO_HOST = {
  abbreviation = "kestrix.th",
  name = "To-host header",
  fields = {
    {"reason_code", "Reason code", base.DEC, {{0, 7, 0, 0}}},
    {"oup", "oup", base.DEC, {{1, 7, 6, 0}, {2, 0, 0, 2}}},
    {"plid", "Port id", base.DEC, {{1, 5, 1, 0}}},
    {"ce", "CE", base.NONE, {{1, 0, 0, 0}}},
    {"tags_exist", "Tags present", base.HEX, {{2, 7, 5, 0}, {3, 5, 0, 3}}},
    {"rw_type", "Rewrite type", base.DEC, {{2, 4, 1, 0}}},
    {"ingress_plid", "Ingress port id", base.DEC, {{3, 7, 6, 0}, {4, 2, 0, 2}}},
    {"vlan", "VLAN", base.DEC, {{4, 7, 3, 0}, {5, 6, 0, 5}}},
    {"iup", "iup", base.DEC, {{5, 7, 7, 0}, {6, 1, 0, 1}}},
    {"rsvd", "Reserved", base.HEX, {{6, 7, 4, 0}, {7, 7, 0, 4}}},
    {"fc2", "FC-2", base.NONE, {{6, 3, 3, 0}}},
    {"fcoe", "FCoE", base.NONE, {{6, 2, 2, 0}}},
    {"ts", "ts", base.DEC, {{8, 7, 0, 0}, {9, 7, 0, 8}}},
  },
}

local FROM_HOST = {
  abbreviation = "kestrix.fh",
  name = "From-host header",
  fields = {
    {"vlan", "VLAN", base.DEC, {{0, 7, 2, 0}, {1, 5, 0, 6}}},
    {"mc", "Multi-destination", base.NONE, {{0, 1, 1, 0}}},
    {"ce", "CE", base.NONE, {{0, 0, 0, 0}}},
    {"ltl", "LTL", base.HEX, {{1, 7, 6, 0}, {2, 7, 0, 2}, {3, 7, 0, 10}, {4, 1, 0, 18}}},
    {"tags_exist", "Tags present", base.HEX, {{4, 7, 6, 0}, {5, 6, 0, 2}}},
    {"rsvd2", "Reserved 2", base.HEX, {{4, 5, 2, 0}}},
    {"up", "up", base.DEC, {{5, 7, 7, 0}, {6, 1, 0, 1}}},
    {"rsvd1", "Reserved 1", base.HEX, {{6, 7, 5, 0}, {7, 7, 0, 3}}},
    {"diag_pkt", "Diagnostic frame", base.NONE, {{6, 4, 4, 0}}},
    {"fc2", "FC-2", base.NONE, {{6, 3, 3, 0}}},
    {"fcoe", "FCoE", base.NONE, {{6, 2, 2, 0}}},
    {"ts", "ts", base.DEC, {{8, 7, 0, 0}, {9, 7, 0, 8}}},
  },
}

local function width(piece) return piece[2] - piece[3] + 1 end

local function mask(piece) return 2 ^ (piece[2] + 1) - 2 ^ piece[3] end

local function value_of(piece, header) return header:range(piece[1], 1):bitfield(7 - piece[2], width(piece)) end

local function assembled(pieces, header)
  local value = 0
  for _, piece in ipairs(pieces) do value = value + value_of(piece, header) * 2 ^ piece[4] end
  return value
end

-- The bytes that contain a field's pieces; no field leaves a byte out.
local function extent(pieces)
  local first, last = HEADER_BYTES, 0
  for _, piece in ipairs(pieces) do
    first, last = math.min(first, piece[1]), math.max(last, piece[1])
  end
  return first, last - first + 1
end

local function whole_piece(abbreviation, name, display, piece)
  if display == base.NONE then return ProtoField.bool(abbreviation, name, 8, nil, mask(piece)) end
  return ProtoField.uint8(abbreviation, name, display, nil, mask(piece))
end

local function assembled_field(abbreviation, name, display, pieces)
  local top = pieces[#pieces]
  local bits = top[4] + width(top)
  local kind = bits <= 8 and ProtoField.uint8 or bits <= 16 and ProtoField.uint16 or ProtoField.uint24
  return kind(abbreviation, name, display)
end

local function part(abbreviation, name, piece)
  local first, last = piece[4], piece[4] + width(piece) - 1
  local bits = first == last and {first, "bit " .. first} or {first .. "_" .. last, "bits " .. first .. "-" .. last}
  return ProtoField.uint8(abbreviation .. "_" .. bits[1], name .. ", " .. bits[2], base.DEC, nil, mask(piece))
end

-- Adds Wireshark's fields to each field of a header: `whole`, and `parts` when it has several pieces.
local function declare(header, known)
  for _, field in ipairs(header.fields) do
    local short, name, display, pieces = table.unpack(field)
    local abbreviation = header.abbreviation .. "." .. short
    field.parts = {}
    if #pieces == 1 then
      field.whole = whole_piece(abbreviation, name, display, pieces[1])
    else
      field.whole = assembled_field(abbreviation, name, display, pieces)
      for i, piece in ipairs(pieces) do field.parts[i] = part(abbreviation, name, piece) end
    end
    table.insert(known, field.whole)
    for _, each in ipairs(field.parts) do table.insert(known, each) end
  end
end

-- Whether the field is shown, or a filter or a column names it. Adding items that nobody uses is most of the cost of a
-- packet.
local function is_wanted(field, tree)
  if tree:referenced(field.whole) then return true end
  for _, each in ipairs(field.parts) do
    if tree:referenced(each) then return true end
  end
  return false
end

local function show_field(field, header, tree)
  local pieces = field[4]
  local first, bytes = extent(pieces)
  if #pieces == 1 then return tree:add(field.whole, header:range(first, 1)) end
  local item = tree:add(field.whole, header:range(first, bytes), assembled(pieces, header))
  for i, piece in ipairs(pieces) do item:add(field.parts[i], header:range(piece[1], 1)) end
end

-- ---- in-band packets -------------------------------------------------------------------------------------------

local kestrix = Proto("kestrix", "Kestrix ASIC header")

local raw_header = ProtoField.bytes("kestrix.header", "Header")
local asic_ports = ProtoField.string("kestrix.ports", "ASIC ports")
local no_direction = ProtoExpert.new("kestrix.no_direction", "The capture does not say which way this frame went",
                                     expert.group.UNDECODED, expert.severity.NOTE)
local cut_header = ProtoExpert.new("kestrix.cut", "The ASIC header is cut off",
                                   expert.group.MALFORMED, expert.severity.ERROR)

kestrix.fields = (function()
  local known = {raw_header, asic_ports}
  declare(TO_HOST, known)
  declare(FROM_HOST, known)
  return known
end)()
kestrix.experts = {no_direction, cut_header}

local SHOW_BYTES, AS_TO_HOST, AS_FROM_HOST = 0, 1, 2
kestrix.prefs.no_direction = Pref.enum(
    "Header of a frame without direction", SHOW_BYTES,
    "What to take the ASIC header for when the capture names no direction",
    {{1, "Show its bytes", SHOW_BYTES}, {2, "To-host", AS_TO_HOST}, {3, "From-host", AS_FROM_HOST}}, false)

local function header_of(direction)
  if direction == P2P_DIR_RECV then return TO_HOST end
  if direction == P2P_DIR_SENT then return FROM_HOST end
  return ({[AS_TO_HOST] = TO_HOST, [AS_FROM_HOST] = FROM_HOST})[kestrix.prefs.no_direction]
end

-- "0-3, 7" for the set of ports whose bits are set.
local function port_list(set)
  local ranges, port = {}, 0
  while set > 0 do
    local first = port
    while set % 2 == 1 do set, port = (set - 1) / 2, port + 1 end
    if port > first then table.insert(ranges, port - first == 1 and first or first .. "-" .. port - 1) end
    set, port = math.floor(set / 2), port + 1
  end
  return table.concat(ranges, ", ")
end

local function field_of(header, short)
  for _, field in ipairs(header.fields) do
    if field[1] == short then return field end
  end
end

local INGRESS, LTL, MC = field_of(TO_HOST, "ingress_plid"), field_of(FROM_HOST, "ltl"), field_of(FROM_HOST, "mc")

local function ports_of(header, bytes)
  if header == TO_HOST then return string.format("from %d", assembled(INGRESS[4], bytes)) end
  local ltl = assembled(LTL[4], bytes)
  local flood = assembled(MC[4], bytes) == 1 and " (flood)" or ""
  return "to " .. (ltl == 0 and "none" or port_list(ltl)) .. flood
end

local function show_ports(header, bytes, tree)
  local first, count = extent((header == TO_HOST and INGRESS or LTL)[4])
  tree:add(asic_ports, bytes:range(first, count), ports_of(header, bytes)):set_generated()
end

local function show_header(header, bytes, tree)
  tree:append_text(", " .. header.name)
  for _, field in ipairs(header.fields) do
    if is_wanted(field, tree) then show_field(field, bytes, tree) end
  end
  show_ports(header, bytes, tree)
end

local function show_unknown_header(bytes, tree)
  tree:add(raw_header, bytes:range(0, HEADER_BYTES))
  tree:add_proto_expert_info(no_direction)
end

local function show_cut_header(bytes, tree)
  if bytes:len() > 0 then tree:add(raw_header, bytes:range(0)) end
  tree:add_proto_expert_info(cut_header)
end

local ethernet = Dissector.get("eth_withoutfcs")

-- For a frame that is cut off, Wireshark marks it as malformed in the tree and then raises an error here.
local function hand_on(frame, pinfo, tree) pcall(ethernet.call, ethernet, frame, pinfo, tree) end

function kestrix.dissector(tvb, pinfo, tree)
  pinfo.cols.protocol = "Kestrix"
  local own = tree:add(kestrix, tvb:range(0, math.min(tvb:len(), HEADER_BYTES)))
  if tvb:len() < HEADER_BYTES then return show_cut_header(tvb, own) end
  local header = header_of(pinfo.p2p_dir)
  if header then show_header(header, tvb, own) else show_unknown_header(tvb, own) end
  if tvb:len() > HEADER_BYTES then hand_on(tvb:range(HEADER_BYTES):tvb(), pinfo, tree) end
end

local USER0 = (wtap_encaps or wtap).USER0
DissectorTable.get("wtap_encap"):add(USER0, kestrix)

-- ---- before and behind the daemon ------------------------------------------------------------------------------

local tesk = Proto("tesk", "Frame at the tesk daemon")

local side = ProtoField.string("tesk.side", "Side of the daemon")
local way = ProtoField.string("tesk.way", "Way")
local pair = ProtoField.framenum("tesk.pair", "Same frame on the daemon's other side")
local time = ProtoField.relative_time("tesk.time", "Time in the daemon")
local dropped = ProtoField.string("tesk.dropped", "Dropped")
local dropped_note = ProtoExpert.new("tesk.dropped.note", "Dropped", expert.group.SEQUENCE, expert.severity.WARN)
local lost_note = ProtoExpert.new("tesk.lost",
                                  "Not seen behind the daemon: it dropped the frame, or the capture missed it",
                                  expert.group.SEQUENCE, expert.severity.NOTE)

tesk.fields = {side, way, pair, time, dropped}
tesk.experts = {dropped_note, lost_note}
tesk.prefs.window = Pref.uint("Longest time in the daemon (ms)", 500,
                              "Equal frames that lie further apart are not taken for a pair")

local interface_name = Field.new("frame.interface_name")
local encapsulation = Field.new("frame.encap_type")
local arrival = Field.new("frame.time_epoch")
local comment = Field.new("frame.comment")

local TO_AMM, TO_BLADES = "to the AMM", "to the blades"
local IN_BAND = {
  frame_offset = HEADER_BYTES,
  [P2P_DIR_RECV] = {side = "before", way = TO_AMM},
  [P2P_DIR_SENT] = {side = "behind", way = TO_BLADES},
}
local MANAGEMENT = {
  frame_offset = 0,
  [P2P_DIR_RECV] = {side = "before", way = TO_BLADES},
  [P2P_DIR_SENT] = {side = "behind", way = TO_AMM},
}

-- The device of the daemon that the packet was captured at; none for a wire.
local function device_of_packet()
  if encapsulation().value == USER0 then return IN_BAND end
  local name = interface_name()
  if name and name.value:match("^mgmt%d+$") then return MANAGEMENT end
end

local function drop_reason()
  for _, each in ipairs({comment()}) do
    local reason = each.value:match("^dropped: (.+)$")
    if reason then return reason end
  end
end

-- The packets at the daemon's devices, by number: when a packet `arrived`, its `pair`, its `time` in the daemon,
-- whether it was `lost`, and the bytes of its `frame` while the same frame is expected on the other side.
local packets
-- For each way, the numbers of the packets before the daemon that have no pair behind it, in order from `first` to
-- `last`. Packets before `expected` have waited too long to get a pair.
local inside

local function empty_queue() return {first = 1, expected = 1, last = 0} end

function tesk.init()
  packets = {}
  inside = {[TO_AMM] = empty_queue(), [TO_BLADES] = empty_queue()}
end

local function goes_in(queue, number)
  queue.last = queue.last + 1
  queue[queue.last] = number
end

local function give_up_late(queue, now)
  local window = tesk.prefs.window / 1000
  while queue.expected <= queue.last do
    local oldest = packets[queue[queue.expected]]
    if (now - oldest.arrived):tonumber() <= window then return end
    oldest.frame = nil
    queue.expected = queue.expected + 1
  end
end

local function position_of(frame, queue)
  for position = queue.expected, queue.last do
    if packets[queue[position]].frame == frame then return position end
  end
end

-- The daemon keeps the order of the frames of one way. So when a frame comes out, all that went in before it are lost.
local function lose_before(position, queue)
  for earlier = queue.first, position - 1 do
    local packet = packets[queue[earlier]]
    packet.lost, packet.frame, queue[earlier] = true, nil, nil
  end
end

local function take(position, queue)
  local number = queue[position]
  lose_before(position, queue)
  queue[position] = nil
  queue.first, queue.expected = position + 1, position + 1
  return number
end

local function link(before, behind)
  local entered, left = packets[before], packets[behind]
  entered.pair, left.pair = behind, before
  left.time = left.arrived - entered.arrived
  entered.frame = nil
end

local function comes_out(queue, number)
  local position = position_of(packets[number].frame, queue)
  if position then link(take(position, queue), number) end
  packets[number].frame = nil
end

local function examine(place, number, frame, now)
  local queue = inside[place.way]
  packets[number] = {arrived = now, frame = frame}
  give_up_late(queue, now)
  if place.side == "behind" then
    comes_out(queue, number)
  elseif not drop_reason() then
    goes_in(queue, number)
  end
end

local function show_place(place, known, tree)
  tree:append_text(", " .. place.side .. " it, " .. place.way)
  tree:add(side, place.side):set_generated()
  tree:add(way, place.way):set_generated()
  if known.pair then tree:add(pair, known.pair):set_generated() end
  if known.time then tree:add(time, known.time):set_generated() end
  if known.lost then tree:add_proto_expert_info(lost_note) end
end

local function show_drop(reason, tree)
  local item = tree:add(dropped, reason):set_generated()
  item:add_proto_expert_info(dropped_note, "Dropped: " .. reason)
end

-- The first of tshark's two passes (-2) has no fields unless there is a filter; the second pass examines what the first
-- left out.
function tesk.dissector(tvb, pinfo, tree)
  if not arrival() then return end
  local device, reason = device_of_packet(), drop_reason()
  local place = device and device[pinfo.p2p_dir]
  if place and not packets[pinfo.number] and tvb:len() > device.frame_offset then
    examine(place, pinfo.number, tvb:raw(device.frame_offset), arrival().value)
  end
  if not place and not reason then return end
  local own = tree:add(tesk)
  if place then show_place(place, packets[pinfo.number] or {}, own) end
  if reason then show_drop(reason, own) end
end

register_postdissector(tesk)
