-- Shows captures that df1 --trace FILE has written (link type 147, USER0).
--
--   tshark -X lua_script:df1.lua -r line.pcap
--
-- or put this file in Wireshark's folder of personal Lua plugins. Each record has four
-- bytes in front: version 1, direction, flags, 0; then a frame, a link answer or noise.

local df1 = Proto("df1", "Allen-Bradley DF1")

local DIRECTIONS = { [0] = "to the controller", [1] = "from the controller" }

-- Command and function in one number.
local COMMANDS = {
    [0x0600] = "echo",
    [0x0601] = "read diagnostic counters",
    [0x0603] = "diagnostic status",
    [0x0607] = "reset diagnostic counters",
    [0x0F00] = "word range write",
    [0x0F01] = "word range read",
    [0x0F11] = "get edit resource",
    [0x0F12] = "return edit resource",
    [0x0F26] = "read-modify-write",
    [0x0F3A] = "set CPU mode",
    [0x0F50] = "download all request",
    [0x0F52] = "download completed",
    [0x0F53] = "upload all request",
    [0x0F55] = "upload completed",
    [0x0F57] = "initialize memory",
    [0x0F80] = "change mode",
    [0x0F81] = "open file",
    [0x0F82] = "close file",
    [0x0F8F] = "apply port configuration",
    [0x0FA1] = "protected typed logical read, two address fields",
    [0x0FA2] = "protected typed logical read",
    [0x0FA7] = "protected typed file read",
    [0x0FA9] = "protected typed logical write, two address fields",
    [0x0FAA] = "protected typed logical write",
    [0x0FAB] = "protected typed logical masked write",
    [0x0FAF] = "protected typed file write",
}

local FILE_TYPES = {
    [0x82] = "O", [0x83] = "I", [0x84] = "S", [0x85] = "B", [0x86] = "T", [0x87] = "C",
    [0x88] = "R", [0x89] = "N", [0x8A] = "F", [0x8D] = "ST", [0x8E] = "A", [0x8F] = "D",
    [0x91] = "L", [0x92] = "MG", [0x93] = "PD",
}

local SUB_ELEMENTS = {
    T = { ".PRE", ".ACC" }, C = { ".PRE", ".ACC" }, R = { ".LEN", ".POS" },
}

local LOCAL = {
    [0x01] = "the destination node is out of buffers",
    [0x02] = "the link layer got no ACK",
    [0x03] = "a duplicate token holder was found",
    [0x04] = "the local port is disconnected",
    [0x05] = "the application layer timed out",
    [0x06] = "a duplicate node was found",
    [0x07] = "the station is offline",
    [0x08] = "a hardware fault",
}

local REMOTE = {
    [0x10] = "illegal command or format",
    [0x20] = "the host will not communicate",
    [0x30] = "the host is missing, disconnected or shut down",
    [0x40] = "a hardware fault of the host",
    [0x50] = "an addressing problem, or memory-protect rungs",
    [0x60] = "command protection does not allow it",
    [0x70] = "the controller is in Program mode",
    [0x80] = "the compatibility file is missing",
    [0x90] = "the station cannot buffer the command",
    [0xA0] = "the station waits for an ACK",
    [0xB0] = "the station has a problem due to a download",
    [0xC0] = "the station waits for an ACK",
    [0xF0] = "an error that only EXT STS tells",
}

local EXTENDED = {
    [0x01] = "a field has an illegal value",
    [0x02] = "the address has too few levels",
    [0x03] = "the address has too many levels",
    [0x04] = "the symbol was not found",
    [0x05] = "the symbol has a wrong form",
    [0x06] = "the address points to nothing usable",
    [0x07] = "the file has the wrong size",
    [0x08] = "the situation has changed since the command began",
    [0x09] = "the data or the file is too large",
    [0x0A] = "size and address together are too large",
    [0x0B] = "access denied",
    [0x0C] = "the resource is not available",
    [0x0D] = "the resource is already there",
    [0x0E] = "the command cannot be executed",
    [0x0F] = "a histogram overflowed",
    [0x10] = "no access",
    [0x11] = "illegal data type",
    [0x12] = "a bad parameter or bad data",
    [0x13] = "the address refers to a deleted area",
    [0x14] = "the command failed for an unknown reason",
    [0x15] = "a data conversion failed",
    [0x16] = "no communication with the rack adapter",
    [0x17] = "the types do not match",
    [0x18] = "a module's response was not valid",
    [0x19] = "a duplicate label",
    [0x1A] = "the file is owned by another station",
    [0x1B] = "the program is owned by another station",
    [0x1E] = "the element is protected",
    [0x1F] = "a temporary internal problem",
    [0x22] = "a fault of a rack",
    [0x23] = "a time-out",
    [0x24] = "an unknown error",
}

local NO_NAME = "a status without a name"

local fields = {
    direction = ProtoField.uint8("df1.direction", "Direction", base.DEC, DIRECTIONS),
    discarded = ProtoField.bool("df1.discarded", "Thrown away unread", 8, nil, 0x01),
    embedded = ProtoField.bool("df1.embedded", "Inside the following frame", 8, nil, 0x02),
    kind = ProtoField.string("df1.kind", "Kind"),
    dst = ProtoField.uint8("df1.dst", "DST", base.DEC),
    src = ProtoField.uint8("df1.src", "SRC", base.DEC),
    cmd = ProtoField.uint8("df1.cmd", "CMD", base.HEX),
    sts = ProtoField.uint8("df1.sts", "STS", base.HEX),
    tns = ProtoField.uint16("df1.tns", "TNS", base.HEX),
    fnc = ProtoField.uint8("df1.fnc", "FNC", base.HEX),
    ext_sts = ProtoField.uint8("df1.ext_sts", "EXT STS", base.HEX),
    status = ProtoField.string("df1.status", "Status"),
    command = ProtoField.string("df1.command", "Command"),
    size = ProtoField.uint16("df1.size", "Size in bytes", base.DEC),
    address = ProtoField.string("df1.address", "Address"),
    mask = ProtoField.uint16("df1.mask", "Mask", base.HEX),
    data = ProtoField.bytes("df1.data", "Data"),
    check = ProtoField.string("df1.check", "Check"),
}
df1.fields = {}
for _, field in pairs(fields) do
    table.insert(df1.fields, field)
end

local damaged = ProtoExpert.new("df1.damaged", "A damaged frame", expert.group.CHECKSUM,
                                expert.severity.ERROR)
local refused = ProtoExpert.new("df1.refused", "Refused", expert.group.RESPONSE_CODE,
                                expert.severity.WARN)
df1.experts = { damaged, refused }

local function crc_of(bytes)
    local crc = 0
    for i = 0, bytes:len() do
        local byte = i < bytes:len() and bytes:get_index(i) or 0x03
        crc = bit.bxor(crc, byte)
        for _ = 1, 8 do
            local low = bit.band(crc, 1)
            crc = bit.rshift(crc, 1)
            if low == 1 then crc = bit.bxor(crc, 0xA001) end
        end
    end
    return crc
end

local function bcc_of(bytes)
    local sum = 0
    for i = 0, bytes:len() - 1 do
        sum = sum + bytes:get_index(i)
    end
    return bit.band(-sum, 0xFF)
end

-- The application bytes and what is said of the check. `raw` begins with DLE STX.
local function unframe(raw)
    local message = ByteArray.new()
    local from = 2
    local lone = ""
    while from < raw:len() do
        local byte = raw:get_index(from)
        local partner = byte == 0x10 and from + 1 < raw:len() and raw:get_index(from + 1)
        if partner == 0x03 then
            local size = raw:len() - from - 2
            local check = "cut off"
            if size == 2 then
                local sent = raw:get_index(from + 2) + 256 * raw:get_index(from + 3)
                check = sent == crc_of(message) and "CRC right" or "CRC wrong"
            elseif size == 1 then
                check = raw:get_index(from + 2) == bcc_of(message) and "BCC right" or "BCC wrong"
            end
            return message, check .. lone
        end
        message:append(raw:subset(from, 1))
        if partner == 0x10 then
            from = from + 1
        elseif byte == 0x10 then
            lone = ", a DLE is not doubled"
        end
        from = from + 1
    end
    return message, "cut off" .. lone
end

local function address_text(file, file_type, element, sub_element)
    local letters = file_type and FILE_TYPES[file_type]
    local text
    if letters then
        text = string.format("%s%d:%d", letters, file, element)
        if sub_element ~= 0 then
            local names = SUB_ELEMENTS[letters]
            text = text .. (names and names[sub_element] or "." .. sub_element)
        end
        return text
    end
    text = "file " .. file
    if file_type then text = text .. string.format(" of type %02X", file_type) end
    text = text .. ", element " .. element
    if sub_element ~= 0 then text = text .. ", sub-element " .. sub_element end
    return text
end

-- Takes fields from the front of a Tvb; `short` once there were too few bytes.
local Reader = {}
Reader.__index = Reader

function Reader.new(tvb, from)
    return setmetatable({ tvb = tvb, at = from, short = false }, Reader)
end

function Reader:byte()
    if self.at >= self.tvb:len() then
        self.short = true
        return 0
    end
    self.at = self.at + 1
    return self.tvb(self.at - 1, 1):uint()
end

function Reader:word()
    local low = self:byte()
    return low + 256 * self:byte()
end

function Reader:number()
    local first = self:byte()
    return first == 0xFF and self:word() or first
end

local function typed_fields(reader, code)
    local found = { size = reader:byte() }
    local file = reader:number()
    local file_type = reader:byte()
    local element = reader:number()
    local two_fields = code == 0x0FA1 or code == 0x0FA9
    local sub_element = two_fields and 0 or reader:number()
    found.address = address_text(file, file_type, element, sub_element)
    if code == 0x0FAB then found.mask = reader:word() end
    return found
end

local function word_range_fields(reader, code)
    reader:word()
    local found = { size = 2 * reader:word() }
    local levels = reader:byte()
    local file = reader:number()
    local element = reader:number()
    local sub_element = levels == 0x0E and reader:number() or 0
    if levels ~= 0x06 and levels ~= 0x0E then reader.short = true end
    found.address = address_text(file, nil, element, sub_element)
    if code == 0x0F01 then found.size = reader:byte() end
    return found
end

local READERS = {
    [0x0F00] = word_range_fields, [0x0F01] = word_range_fields,
    [0x0FA1] = typed_fields, [0x0FA2] = typed_fields, [0x0FA9] = typed_fields,
    [0x0FAA] = typed_fields, [0x0FAB] = typed_fields,
}

local function status_text(sts, ext_sts)
    local low = bit.band(sts, 0x0F)
    local high = bit.band(sts, 0xF0)
    if sts == 0 then return "success" end
    if high == 0 then return LOCAL[low] or NO_NAME end
    local text
    if sts == 0xF0 and ext_sts then
        text = EXTENDED[ext_sts] or NO_NAME
    else
        text = REMOTE[high] or NO_NAME
    end
    if low ~= 0 then text = text .. ", and " .. (LOCAL[low] or NO_NAME) end
    return text
end

-- The requests that were not answered yet, by stations and TNS, and those that the
-- replies belong to, by the number of the record.
local open_requests = {}
local answered = {}

function df1.init()
    open_requests = {}
    answered = {}
end

local function add_request(tvb, pinfo, tree)
    local cmd = tvb(2, 1):uint()
    local found = { command = string.format("command %02X", cmd) }
    local from = 6
    if (cmd == 0x06 or cmd == 0x07 or cmd == 0x0F) and tvb:len() > 6 then
        local fnc = tvb(6, 1):uint()
        local code = 256 * cmd + fnc
        tree:add(fields.fnc, tvb(6, 1))
        from = 7
        if READERS[code] then
            local reader = Reader.new(tvb, from)
            local read = READERS[code](reader, code)
            if not reader.short then
                found = read
                from = reader.at
            end
        end
        found.command = COMMANDS[code] or string.format("command %02X function %02X", cmd, fnc)
    end
    tree:add(fields.command, found.command)
    if found.size then tree:add(fields.size, found.size) end
    if found.address then tree:add(fields.address, found.address) end
    if found.mask then tree:add(fields.mask, found.mask) end
    if not pinfo.visited then
        open_requests[tvb(0, 2):bytes():tohex() .. tvb(4, 2):bytes():tohex()] = found
    end
    return found.command .. (found.address and " " .. found.address or ""), from
end

local function add_reply(tvb, pinfo, tree)
    local sts = tvb(3, 1):uint()
    local from = 6
    local ext_sts
    if sts == 0xF0 and tvb:len() > 6 then
        ext_sts = tvb(6, 1):uint()
        tree:add(fields.ext_sts, tvb(6, 1))
        from = 7
    end
    local status = status_text(sts, ext_sts)
    local item = tree:add(fields.status, status)
    if sts ~= 0 then item:add_proto_expert_info(refused, status) end
    if not pinfo.visited then
        local key = tvb(1, 1):bytes():tohex() .. tvb(0, 1):bytes():tohex()
                    .. tvb(4, 2):bytes():tohex()
        answered[pinfo.number] = open_requests[key]
    end
    local request = answered[pinfo.number]
    local text = string.format("reply to command %02X", bit.band(tvb(2, 1):uint(), 0xBF))
    if request then
        text = "reply to " .. request.command
        tree:add(fields.command, request.command):set_generated()
        if request.address then
            tree:add(fields.address, request.address):set_generated()
            text = text .. " " .. request.address
        end
    end
    return sts == 0 and text or text .. ": " .. status, from
end

local function add_message(tvb, pinfo, tree)
    if tvb:len() < 6 then return "frame without a whole header" end
    tree:add(fields.dst, tvb(0, 1))
    tree:add(fields.src, tvb(1, 1))
    tree:add(fields.cmd, tvb(2, 1))
    tree:add(fields.sts, tvb(3, 1))
    tree:add_le(fields.tns, tvb(4, 2))
    local is_reply = bit.band(tvb(2, 1):uint(), 0x40) ~= 0
    local text, from = (is_reply and add_reply or add_request)(tvb, pinfo, tree)
    if from < tvb:len() then tree:add(fields.data, tvb(from)) end
    return string.format("%s, TNS %04X", text, tvb(4, 2):le_uint())
end

local SYMBOLS = { [0x05] = "ENQ", [0x06] = "ACK", [0x15] = "NAK" }

local function add_bytes(tvb, pinfo, tree)
    local raw = tvb(4):bytes()
    local code = raw:len() > 1 and raw:get_index(0) == 0x10 and raw:get_index(1)
    local symbol = raw:len() == 2 and SYMBOLS[code]
    if symbol then
        tree:add(fields.kind, symbol)
        return symbol
    end
    if code ~= 0x02 then
        tree:add(fields.kind, "noise")
        tree:add(fields.data, tvb(4))
        return string.format("noise, %d bytes", raw:len())
    end
    tree:add(fields.kind, "frame")
    local message, check = unframe(raw)
    local text = "frame without a whole header"
    if message:len() > 0 then text = add_message(message:tvb("Message"), pinfo, tree) end
    local item = tree:add(fields.check, check)
    if check ~= "CRC right" and check ~= "BCC right" then
        item:add_proto_expert_info(damaged, check)
        text = text .. "; " .. check
    end
    return text
end

function df1.dissector(tvb, pinfo, root)
    if tvb:len() < 5 or tvb(0, 1):uint() ~= 1 then return 0 end
    local tree = root:add(df1, tvb())
    tree:add(fields.direction, tvb(1, 1))
    tree:add(fields.discarded, tvb(2, 1))
    tree:add(fields.embedded, tvb(2, 1))
    local is_reply = tvb(1, 1):uint() == 1
    pinfo.cols.protocol = "DF1"
    pinfo.cols.src = is_reply and "controller" or "host"
    pinfo.cols.dst = is_reply and "host" or "controller"
    pinfo.cols.info = add_bytes(tvb, pinfo, tree)
    return tvb:len()
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, df1)
