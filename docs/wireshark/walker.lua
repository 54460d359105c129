-- The lists above as tables, the fields that filters know, and what walks a message.
--
-- A message carries no length: only its fields tell where it ends.  So each one is walked twice,
-- first without a tree, to see whether all of it has arrived, then with one.

local vanto = Proto("vanto", "VANTO remote solver objects")
vanto.prefs.ports = Pref.range("TCP ports", "12345", "Where servers listen", 65535)
vanto.prefs.elements = Pref.uint("Elements shown", 100, "Of each array; 0 shows all")

-- No message announces more bytes than this.  What seems to is no message.
local MOST = 2 ^ 30
local MOST_UNSURE = 2 ^ 24 -- while the place in the stream is a guess

-- No segment is longer.  Of a short message Wireshark is asked for one whole segment at a time: what
-- is asked for twice within one segment, it does not find in a later pass.  Of a long message it is
-- asked for most at once: each further request costs as much as all before it.
local SEGMENT = 2 ^ 16

-- The fewest bytes that a field of each kind takes.
local LEAST = {i = 4, l = 8, d = 8, s = 8, a = 12, h = 12, f = 20}

local messages, ids = {}, {}
for id, name, call, fields in messages_list:gmatch("(%d+) (%S+) (%S+)([^\n]*)\n") do
    local message = {id = tonumber(id), name = name, fields = {}}
    if call ~= "-" then message.call = call end
    for field, kind in fields:gmatch("(%S+):(%a)") do
        table.insert(message.fields, {name = field, kind = kind})
    end
    local rest = 0 -- of the fields behind
    for i = #message.fields, 1, -1 do
        message.fields[i].rest = rest
        rest = rest + LEAST[message.fields[i].kind]
    end
    messages[message.id] = message
    ids[name] = message.id
end

local function names_of(list)
    local names = {}
    for number, name in list:gmatch("(%S+) (%S+)\n") do names[tonumber(number)] = name end
    return names
end
local statuses, queries = names_of(statuses_list), names_of(queries_list)
local channels = {[0] = "results", "warnings", "errors", "log"}
local types = {[0] = "absent", "signed byte", "signed 16-bit", "signed 32-bit", "signed 64-bit",
    "unsigned byte", "unsigned 16-bit", "unsigned 32-bit", "unsigned 64-bit", "single", "double",
    "string"}
local widths = {1, 2, 4, 8, 1, 2, 4, 8, 4, 8}
local actions = {"new worker", "take up a worker"}
local answers = {[0] = "accepted", "no resources for a worker", "could not fork",
    "the worker id did not arrive in time", "another connection is taking up that worker",
    "there is no worker with that id", "there is no such action"}

-- The names of messages by id, for fields that hold the id of a request.
local message_names = {}
for id, message in pairs(messages) do message_names[id] = message.name end

local own = {
    id = ProtoField.uint32("vanto.msg.id", "Message", base.DEC, message_names),
    name = ProtoField.string("vanto.msg.name", "Name"),
    call = ProtoField.string("vanto.msg.function", "Solver function"),
    request = ProtoField.framenum("vanto.msg.request_in", "Request in", base.NONE, frametype.REQUEST),
    response = ProtoField.framenum("vanto.msg.response_in", "Response in", base.NONE,
        frametype.RESPONSE),
    time = ProtoField.relative_time("vanto.msg.time", "Time since the request"),
    action = ProtoField.uint32("vanto.handshake.action", "Action", base.DEC, actions),
    answer = ProtoField.uint16("vanto.handshake.status", "Status", base.DEC, answers),
    worker = ProtoField.bytes("vanto.handshake.worker", "Worker id"),
    asynchronous = ProtoField.bool("vanto.flags.asynchronous", "Asynchronous", 32, nil, 1),
    defaults = ProtoField.bool("vanto.flags.defaults", "Defaults", 32, nil, 2),
    absent = ProtoField.string("vanto.msg.absent", "Absent"),
    total = ProtoField.int64("vanto.array.total", "Total"),
    type = ProtoField.uint32("vanto.array.type", "Type", base.DEC, types),
    chunks = ProtoField.uint32("vanto.array.chunks", "Chunks"),
    chunk = ProtoField.uint32("vanto.array.chunk", "Elements of the chunk"),
    int = ProtoField.int64("vanto.element.int", "Element"),
    uint = ProtoField.uint64("vanto.element.uint", "Element"),
    float = ProtoField.float("vanto.element.float", "Element"),
    double = ProtoField.double("vanto.element.double", "Element"),
    string = ProtoField.string("vanto.element.string", "Element"),
    bytes = ProtoField.bytes("vanto.element.bytes", "Elements"),
    filename = ProtoField.string("vanto.file.name", "File name"),
    contents = ProtoField.none("vanto.file.contents", "Contents"),
    handle = ProtoField.none("vanto.array.handle", "Handle"),
    data = ProtoField.bytes("vanto.msg.data", "Bytes"),
}
local element_fields = {own.bytes, own.int, own.int, own.int, own.bytes, own.uint, own.uint, own.uint,
    own.float, own.double, own.string}

-- "vanto.NAME" is a field of the catalogue.  Where messages use one name for several kinds, the
-- later ones of this list have the kind behind the name: "vanto.x" and "vanto.x.array".
local kinds = {
    {"il", "int", ProtoField.int64}, {"d", "double", ProtoField.double},
    {"s", "string", ProtoField.string}, {"f", "file", ProtoField.none},
    {"a", "array", ProtoField.none}, {"h", "handle", ProtoField.bytes},
}
local all_fields, taken = {}, {}
for _, field in pairs(own) do table.insert(all_fields, field) end
for _, kind in ipairs(kinds) do
    local letters, suffix, make = kind[1], kind[2], kind[3]
    local made = {}
    for _, message in pairs(messages) do
        for _, f in ipairs(message.fields) do
            if letters:find(f.kind, 1, true) then
                if not made[f.name] then
                    local path = "vanto." .. f.name .. (taken[f.name] and "." .. suffix or "")
                    made[f.name] = make(path, f.name)
                    table.insert(all_fields, made[f.name])
                end
                f.field = made[f.name]
            end
        end
    end
    for name in pairs(made) do taken[name] = true end
end
vanto.fields = all_fields

local experts = {
    malformed = ProtoExpert.new("vanto.malformed", "Malformed", expert.group.MALFORMED,
        expert.severity.ERROR),
    refused = ProtoExpert.new("vanto.refused", "Refused", expert.group.RESPONSE_CODE,
        expert.severity.WARN),
    failed = ProtoExpert.new("vanto.failed", "The solver's call failed",
        expert.group.RESPONSE_CODE, expert.severity.NOTE),
    cut = ProtoExpert.new("vanto.cut", "The rest of the message was not captured or reassembled",
        expert.group.REASSEMBLE, expert.severity.NOTE),
}
vanto.experts = {experts.malformed, experts.refused, experts.failed, experts.cut}

-- The reader: a place in the bytes.  It raises a table: `need`, how many bytes there must be at
-- least before another attempt is worth it, or `broken`, why the bytes are no message.

local reader = {}
reader.__index = reader

local function reader_new(tvb, at, tree, strict)
    return setmetatable({tvb = tvb, at = at, size = tvb:captured_len(), rest = 0, tree = tree,
        strict = strict}, reader)
end

local function broken(text, ...)
    error({broken = text:format(...)}, 0)
end

-- Takes the next `n` bytes of a message that has at least `rest` more behind them.
function reader:take(n)
    local stop = self.at + n
    if stop + self.rest > MOST then broken("it announces %.0f bytes", stop + self.rest) end
    if self.tree == nil and stop + self.rest > self.size or stop > self.size then
        error({need = stop + self.rest}, 0)
    end
    local range = self.tvb(self.at, n)
    self.at = stop
    return range
end

function reader:number()
    return self:take(4):uint()
end

-- Marks what can be read although no peer should send it.
function reader:doubt(item, text, ...)
    if self.strict then broken(text, ...) end
    if item then item:add_proto_expert_info(experts.malformed, text:format(...)) end
end

-- Shows that a field has no value.
local function absent_put(tree, range, name)
    return tree and tree:add(own.absent, range, name):set_text(name .. ": absent")
end

local function string_walk(r, tree, field, name)
    local from = r.at
    local present, length = r:number(), r:number()
    local text = ""
    if present == 0 then
        local item = absent_put(tree, r.tvb(from, 8), name)
        if length ~= 0 then r:doubt(item, "no string of %d bytes", length) end
        return item
    end
    if length > 0 then
        local bytes = r:take(length)
        local zero = bytes(length - 1, 1):uint() == 0
        if tree and length > (zero and 1 or 0) then
            text = bytes(0, zero and length - 1 or length):string(ENC_UTF_8)
        end
    end
    local item = tree and tree:add(field, r.tvb(from, r.at - from), text)
    if present ~= 1 then r:doubt(item, "%d in the place of 0 or 1", present) end
    return item
end

-- Returns how many elements of a chunk to show.
local function shown_of(count, room)
    if vanto.prefs.elements == 0 then return count end
    return math.min(count, room)
end

local function strings_walk(r, item, count, room)
    local rest = r.rest
    for i = 1, count do
        r.rest = rest + (count - i) * LEAST.s
        string_walk(r, i <= shown_of(count, room) and item or nil, own.string, "Element")
    end
    r.rest = rest
end

local function numbers_walk(r, item, type, count, room)
    local width = widths[type]
    local bytes = count > 0 and r:take(count * width)
    if not item or not bytes then return end
    local field = element_fields[type]
    if width == 1 then
        item:add(field, bytes)
        return
    end
    for i = 1, shown_of(count, room) do item:add(field, bytes((i - 1) * width, width)) end
end

local function chunks_walk(r, item, type, chunks)
    local rest, total = r.rest, 0
    for i = 1, chunks do
        r.rest = rest + (chunks - i) * 4
        local range = r:take(4)
        local count, room = range:uint(), math.max(vanto.prefs.elements - total, 0)
        if item then item:add(own.chunk, range) end
        if type == 11 then
            strings_walk(r, item, count, room)
        else
            numbers_walk(r, item, type, count, room)
        end
        total = total + count
    end
    r.rest = rest
    return total
end

local function array_walk(r, tree, field, name)
    local from = r.at
    local head = r:take(12)
    local total, type = head(0, 8):int64():tonumber(), head(8, 4):uint()
    if type == 0 then return absent_put(tree, head, name) end
    local item = tree and tree:add(field, head)
    if item then
        item:set_text(("%s: %.0f elements, %s"):format(name, total, types[type] or "unknown"))
        item:add(own.total, head(0, 8))
        item:add(own.type, head(8, 4))
    end
    if total < 0 then r:doubt(item, "%.0f elements", total) end
    if total <= 0 then return item end
    local range = r:take(4)
    local chunks = range:uint()
    if item then item:add(own.chunks, range) end
    if type > 11 and chunks > 0 then broken("there is no type %d of elements", type) end
    local got = chunks_walk(r, item, type, chunks)
    if item then item:set_len(r.at - from) end
    if got ~= total then r:doubt(item, "%.0f elements in its chunks, not %.0f", got, total) end
    if item and vanto.prefs.elements > 0 and got > vanto.prefs.elements and widths[type] ~= 1 then
        item:append_text((", %d of them shown"):format(vanto.prefs.elements))
    end
    return item
end

-- A handle is sixteen bytes in one chunk.  All else in its place is shown as an array.
local function handle_walk(r, tree, field, name)
    local from = r.at
    local head = r.size - from >= 20 and r.tvb(from, 20)
    local sound = head and head(0, 8):int64():tonumber() == 16 and head(8, 4):uint() == 1
        and head(12, 4):uint() == 1 and head(16, 4):uint() == 16
    if sound then
        r:take(20)
        local bytes = r:take(16)
        return tree and tree:add(field, bytes)
    end
    local item = array_walk(r, tree, own.handle, name)
    if r.tvb(from + 8, 4):uint() ~= 0 then r:doubt(item, "no handle") end
    return item
end

local walks = {
    i = function(r, tree, f)
        local range = r:take(4)
        return tree and tree:add(f.field, range), range
    end,
    l = function(r, tree, f)
        local range = r:take(8)
        return tree and tree:add(f.field, range)
    end,
    s = function(r, tree, f) return string_walk(r, tree, f.field, f.name) end,
    a = function(r, tree, f) return array_walk(r, tree, f.field, f.name) end,
    h = function(r, tree, f) return handle_walk(r, tree, f.field, f.name) end,
    f = function(r, tree, f)
        local from, rest = r.at, r.rest
        local item = tree and tree:add(f.field, r.tvb(from)) or nil
        if item then item:set_text(f.name) end
        r.rest = rest + LEAST.a
        string_walk(r, item, own.filename, "File name")
        r.rest = rest
        array_walk(r, item, own.contents, "Contents")
        if item then item:set_len(r.at - from) end
        return item
    end,
}
walks.d = walks.l

-- The functions below add to a number what it means.

local function named(names, value)
    return names[value] and (" (%s)"):format(names[value]) or ""
end

local function status_explain(item, value, message, info)
    if value == 0 then return end
    item:append_text(named(statuses, value))
    table.insert(info, ("status %d%s"):format(value, named(statuses, value)))
    if message.name == "NAK" then return end
    item:add_proto_expert_info(experts.failed)
end

local explain = {
    flags = function(item, _, _, _, range)
        item:add(own.asynchronous, range)
        item:add(own.defaults, range)
    end,
    message = function(item, value, message, info)
        item:append_text(named(message_names, value))
        table.insert(info, message_names[value] or tostring(value))
        if message.name == "NAK" then item:add_proto_expert_info(experts.refused) end
    end,
    whatinfo = function(item, value, _, info)
        item:append_text(named(queries, value))
        table.insert(info, queries[value])
    end,
    channel = function(item, value, message, info)
        if message.name ~= "CHANNEL" then return end
        item:append_text(named(channels, value))
        table.insert(info, channels[value])
    end,
    status = status_explain,
    status_p = status_explain,
}

local function message_walk(r, tree, message, info)
    local range = r:take(4)
    if tree then
        tree:add(own.id, range)
        tree:add(own.name, range, message.name):set_generated()
        if message.call then tree:add(own.call, range, message.call):set_generated() end
    end
    for _, f in ipairs(message.fields) do
        r.rest = f.rest
        local item, value = walks[f.kind](r, tree, f)
        if item and value and explain[f.name] then
            explain[f.name](item, value:int(), message, info, value)
        end
    end
end

local function action_walk(r, tree, _, info)
    local range = r:take(4)
    local action = range:uint()
    if tree then
        local item = tree:add(own.action, range)
        if not actions[action] then item:add_proto_expert_info(experts.malformed, "no such action") end
        table.insert(info, actions[action] or ("action %d"):format(action))
    end
    if action ~= 2 then return end
    range = r:take(8)
    if tree then tree:add(own.worker, range) end
end

local function answer_walk(r, tree, _, info)
    local range = r:take(2)
    local status = range:uint()
    if tree then
        local item = tree:add(own.answer, range)
        if status ~= 0 then item:add_proto_expert_info(experts.refused) end
        table.insert(info, answers[status] or ("status %d"):format(status))
    end
    if status ~= 0 then return end
    range = r:take(8)
    if tree then tree:add(own.worker, range) end
end

-- What is known of each connection in the first pass over the packets, which goes in their order:
--
--   client   the port from which a handshake came
--   answered the handshake's answer has been seen
--   sure     for each port: whether the next bytes from it begin a message
--   open     for the id of each response: the place and the time of the request that waits for it
--
-- Later passes look up what it has found, by the place of the bytes:
--
--   marks    what the bytes are, where they do not tell it themselves: a handshake's "answer" or
--            wrong "action", "lost" bytes that are no message, "data" within one
--   links    of a message: the packet of its request or response and the time between
local connections, marks, links = {}, {}, {}
function vanto.init()
    connections, marks, links = {}, {}, {}
end

local function connection_find(pinfo)
    local ends = {("%s %d"):format(pinfo.src, pinfo.src_port),
        ("%s %d"):format(pinfo.dst, pinfo.dst_port)}
    table.sort(ends)
    local name = table.concat(ends, " ")
    if not connections[name] then connections[name] = {sure = {}, open = {}} end
    return connections[name]
end

-- The same bytes have the same place in each pass.
local function place_of(tvb, at, pinfo)
    local n = math.min(tvb:captured_len() - at, 16)
    return ("%d:%s"):format(pinfo.number, tvb(at, n):bytes():tohex())
end

local function response_of(id)
    local base = messages[id] and messages[id].name:match("^(.*)_REQ$")
    return base and ids[base .. "_RES"]
end

-- `about` is the id of the request that an ACK, NAK, UNKNOWN or GETRES names.
local function link_note(s, pinfo, place, message, about)
    local awaited = response_of(message.id)
    if awaited then
        s.open[awaited] = {place = place, number = pinfo.number, time = pinfo.rel_ts}
        return
    end
    awaited = about and response_of(about) or message.id
    local asked = s.open[awaited]
    if not asked then return end
    links[place] = {request = asked.number, time = pinfo.rel_ts - asked.time}
    if message.name == "ACK" or message.name == "GETRES" then return end
    links[asked.place] = {response = pinfo.number}
    s.open[awaited] = nil
end

local function link_put(tree, link)
    if link.response then tree:add(own.response, link.response):set_generated() end
    if not link.request then return end
    tree:add(own.request, link.request):set_generated()
    local whole = math.floor(link.time)
    tree:add(own.time, NSTime.new(whole, math.floor((link.time - whole) * 1e9 + 0.5))):set_generated()
end

-- A unit is a message or a part of a handshake: its title, its walk and what the walk takes.
local ANSWER = {name = "handshake answer", walk = answer_walk, fields = {}}
local ACTION = {name = "handshake", walk = action_walk, fields = {}}
for _, message in pairs(messages) do message.walk = message_walk end
local BEGUN = {name = "", walk = message_walk, fields = {}} -- less than an id

-- Returns the unit at a place, or nil.
local function unit_find(s, tvb, at, pinfo, place)
    local size, first = tvb:captured_len(), not pinfo.visited
    local from_server = s.client and pinfo.src_port ~= s.client
    if first and from_server and not s.answered then marks[place] = "answer" end
    if marks[place] == "answer" then return ANSWER end
    if size - at < 4 then return BEGUN end
    local id = tvb(at, 4):uint()
    if first and not messages[id] and size == 4 and not s.begun then
        marks[place] = "action" -- the first bytes of the stream: a handshake gone wrong
    end
    if actions[id] or marks[place] == "action" then return ACTION end
    return messages[id]
end

-- Returns where the unit ends; or nil, and how many bytes there must be or why it is no unit.
local function unit_measure(unit, tvb, at, sure)
    local r = reader_new(tvb, at, nil, not sure)
    local fine, trouble = pcall(unit.walk, r, nil, unit, {})
    if fine then return r.at end
    if type(trouble) ~= "table" then error(trouble, 0) end
    if not sure and trouble.need and trouble.need > at + MOST_UNSURE then trouble = {broken = ""} end
    return nil, trouble.need, trouble.broken
end

-- Notes in the first pass what later units and passes need to know of this one.
local function unit_note(s, unit, tvb, at, pinfo, place)
    if unit == ACTION then
        s.client, s.answered, s.open = pinfo.src_port, false, {}
        s.sure[pinfo.dst_port] = true
    elseif unit == ANSWER then
        s.answered = true
    else
        local names_other = unit.fields[1] and unit.fields[1].name == "message"
        link_note(s, pinfo, place, unit, names_other and tvb(at + 4, 4):uint())
    end
    s.sure[pinfo.src_port] = true
end

-- Adds the unit to the tree, as far as it goes; returns its title.
local function unit_show(unit, root, tvb, at, stop, link)
    local tree, info = root:add(vanto, tvb(at, stop - at)), {}
    local fine, trouble = pcall(unit.walk, reader_new(tvb, at, tree), tree, unit, info)
    if not fine and type(trouble) ~= "table" then error(trouble, 0) end
    if link then link_put(tree, link) end
    local title = unit.name .. (unit.call and " " .. unit.call or "")
    if #info > 0 then title = title .. ": " .. table.concat(info, ", ") end
    tree:append_text(", " .. title)
    if fine then return title end
    if trouble.need then
        tree:add_proto_expert_info(experts.cut)
        return title .. " (cut)"
    end
    tree:add_proto_expert_info(experts.malformed, trouble.broken)
    return title .. " (malformed)"
end

local function bytes_show(root, tvb, at, lost)
    local tree = root:add(vanto, tvb(at))
    tree:add(own.data, tvb(at))
    if not lost then return "within a message" end
    tree:add_proto_expert_info(experts.malformed, "no message has this id")
    return "no message"
end

-- Shows what begins at a place: returns where it ends, or nil when the rest of the bytes has been
-- dealt with, and a title unless more bytes have to come.
local function place_show(s, tvb, at, pinfo, root)
    local place, port, size = place_of(tvb, at, pinfo), pinfo.src_port, tvb:captured_len()
    local sure = pinfo.visited or s.sure[port]
    local unit = unit_find(s, tvb, at, pinfo, place)
    local stop, need, why
    if unit then stop, need, why = unit_measure(unit, tvb, at, sure) end
    if not pinfo.visited and (not unit or why and not sure) then
        marks[place] = sure and "lost" or "data"
    end
    s.begun = true
    local mark = marks[place]
    if mark == "lost" or mark == "data" then
        s.sure[port] = nil
        return nil, bytes_show(root, tvb, at, mark == "lost")
    end
    if need and pinfo.can_desegment > 0 then
        pinfo.desegment_offset = at
        local lacking = need - size
        pinfo.desegment_len = lacking > 2 * SEGMENT and lacking - SEGMENT or DESEGMENT_ONE_MORE_SEGMENT
        return nil
    end
    if not stop then
        s.sure[port] = nil
    elseif not pinfo.visited then
        unit_note(s, unit, tvb, at, pinfo, place)
    end
    return stop, unit_show(unit, root, tvb, at, stop or size, links[place])
end

function vanto.dissector(tvb, pinfo, root)
    local s, at, titles = connection_find(pinfo), 0, {}
    while at and at < tvb:captured_len() do
        local stop, title = place_show(s, tvb, at, pinfo, root)
        if title then table.insert(titles, title) end
        at = stop
    end
    if #titles == 0 then return end
    pinfo.cols.protocol = "VANTO"
    local info = pinfo.cols.info
    info:clear() -- not what stands behind the fence
    local before = tostring(info)
    info:append((before == "" and "" or ", ") .. table.concat(titles, ", "))
    info:fence()
end

local ports = DissectorTable.get("tcp.port")
local registered
function vanto.prefs_changed()
    if registered then ports:remove(registered, vanto) end
    registered = vanto.prefs.ports
    ports:add(registered, vanto)
end
ports:add(vanto.prefs.ports, vanto)
registered = vanto.prefs.ports
