-- SPDX-License-Identifier: MIT
-- A dissector of the register protocol for Wireshark and tshark. docs/wireshark.md says how to use it, and
-- docs/protocol.md describes the records.
--
-- The records have no header that gives their kind, so the preceding records determine the kind. Wireshark dissects the
-- frames in order once, and later in any order. The first pass determines the records and stores them for each stream
-- and frame. Later passes show only the stored records.

local rynvel = Proto("rynvel", "Register Protocol")

local requestSize, responseSize, interruptSize = 660, 520, 4
local capacity = 128
local highest = 0xFFFFFFFF

local Open, Ioctl, WaitForInterrupt, Debug = 0, 8, 12, 13
local typeNames = {
    [0] = "Open", "Close", "Read8", "Read16", "Read32", "Write8", "Write16", "Write32", "Ioctl", "GetInterruptType",
    "EnableInterrupt", "DisableInterrupt", "WaitForInterrupt", "Debug"
}
local readWidths = {[2] = 8, [3] = 16, [4] = 32}
local writeWidths = {[5] = 8, [6] = 16, [7] = 32}

local fields = {
    record = ProtoField.string("rynvel.record", "Record"),
    type = ProtoField.uint32("rynvel.type", "Type", base.DEC, typeNames),
    device = ProtoField.string("rynvel.device", "Device"),
    address = ProtoField.uint32("rynvel.address", "Address", base.HEX),
    register = ProtoField.string("rynvel.register", "Register"),
    field = ProtoField.string("rynvel.field", "Field"),
    value = ProtoField.uint32("rynvel.value", "Value", base.HEX),
    length = ProtoField.uint32("rynvel.length", "Length", base.DEC),
    byteOrder = ProtoField.uint32("rynvel.byte_order", "Byte order", base.DEC, {[0] = "network", "host"}),
    mask = ProtoField.uint32("rynvel.mask", "Mask", base.HEX),
    command = ProtoField.uint32("rynvel.command", "Command", base.HEX),
    result = ProtoField.uint32("rynvel.result", "Result", base.HEX, {[0] = "success", [highest] = "error"}),
    interrupt = ProtoField.uint32("rynvel.interrupt", "Interrupt word", base.HEX),
    data = ProtoField.bytes("rynvel.data", "Data"),
    requestIn = ProtoField.framenum("rynvel.request_in", "Request in frame", base.NONE, frametype.REQUEST),
    responseIn = ProtoField.framenum("rynvel.response_in", "Response in frame", base.NONE, frametype.RESPONSE),
    armedIn = ProtoField.framenum("rynvel.armed_in", "Armed in frame", base.NONE),
    time = ProtoField.relative_time("rynvel.time", "Time since the request")
}
rynvel.fields = fields

local function newExpert(name, text, group, severity)
    return ProtoExpert.new("rynvel." .. name, text, expert.group[group], expert.severity[severity])
end

local experts = {
    refused = newExpert("refused", "The server answers with an error", "RESPONSE_CODE", "WARN"),
    unanswered = newExpert("unanswered", "The capture contains no response", "SEQUENCE", "WARN"),
    unrequested = newExpert("unrequested", "The capture contains no request for this record", "SEQUENCE", "WARN"),
    early = newExpert("early", "The client has not waited for the previous response", "SEQUENCE", "WARN"),
    notOpen = newExpert("not_open", "The first captured request of the connection is not Open", "SEQUENCE", "NOTE"),
    lost = newExpert("lost", "The dissector has lost synchronization: bytes are missing, or their order differs",
        "REASSEMBLE", "ERROR"),
    truncated = newExpert("truncated", "The capture contains only the beginning of the packet", "UNDECODED", "NOTE"),
    odd = newExpert("odd", "The server refuses this request", "PROTOCOL", "WARN"),
    malformed = newExpert("malformed", "The record breaks the protocol", "MALFORMED", "ERROR")
}
rynvel.experts = experts

rynvel.prefs.ports = Pref.range("TCP ports", "8888", "The ports of the register servers", 65535)
rynvel.prefs.registers = Pref.string("Register names", "",
    "A file with the names of registers, made by 'rynvelctl maps wireshark'")

local tcpStream = Field.new("tcp.stream")

-- Register names ------------------------------------------------------------------------------------------------------

-- For each device name: the distance between the addresses of two adjacent registers, and the list of the registers at
-- each address.
local names = {}

local both = bit32 and bit32.band or bit.band

local function isReadable(access) return access ~= "write-only" and access ~= "write-once" end

local function isWritable(access) return access ~= "read-only" end

-- The functions that read the lines of the file, by the first word of the line. Each returns false for a line that it
-- cannot read.
local lineReaders = {}

function lineReaders.device(reader, rest)
    local width, step, name = rest:match("^(%d+) (%d+) (.+)$")
    if not name or not ({["8"] = true, ["16"] = true, ["32"] = true})[width] then
        return false
    end
    reader.device, reader.register, reader.field = {step = tonumber(step), registers = {}}, nil, nil
    reader.names[name] = reader.device
    return true
end

function lineReaders.register(reader, rest)
    local address, access, name = rest:match("^(0x%x+) (%S+) (.+)$")
    if not name or not reader.device then
        return false
    end
    address = tonumber(address)
    reader.register, reader.field = {name = name, access = access, fields = {}}, nil
    local registers = reader.device.registers
    registers[address] = registers[address] or {}
    table.insert(registers[address], reader.register)
    return true
end

function lineReaders.field(reader, rest)
    local msb, lsb, access, name = rest:match("^(%d+) (%d+) (%S+) (.+)$")
    if not name or not reader.register or tonumber(msb) > 31 or tonumber(lsb) > tonumber(msb) then
        return false
    end
    reader.field = {msb = tonumber(msb), lsb = tonumber(lsb), access = access, name = name, values = {}}
    table.insert(reader.register.fields, reader.field)
    return true
end

function lineReaders.value(reader, rest)
    local number, mask, usage, name = rest:match("^(0x%x+) (0x%x+) (%S+) (.+)$")
    if not name or not reader.field then
        return false
    end
    table.insert(reader.field.values, {number = tonumber(number), mask = tonumber(mask), usage = usage, name = name})
    return true
end

local function reportNames(problem) report_failure("rynvel: " .. problem) end

-- Returns the lines of a file, without their ends; nil and the problem if the file cannot be read.
local function linesOf(path)
    local file, problem = io.open(path)
    if not file then
        return nil, problem
    end
    -- io.open() also opens a folder, but read() then fails.
    local text
    text, problem = file:read("*a")
    file:close()
    if not text then
        return nil, path .. ": " .. problem
    end
    local lines = {}
    for line in (text .. "\n"):gmatch("(.-)\r?\n") do
        table.insert(lines, line)
    end
    return lines
end

local function readNames(path)
    local lines, problem = linesOf(path)
    if not lines then
        return reportNames(problem)
    end
    local reader = {names = {}}
    for number, line in ipairs(lines) do
        local word, rest = line:match("^(%a+) (.*)$")
        if line ~= "" and line:sub(1, 1) ~= "#" and not (lineReaders[word] and lineReaders[word](reader, rest)) then
            return reportNames(path .. ":" .. number ..
                ": the line does not name a register (make the file with 'rynvelctl maps wireshark')")
        end
    end
    names = reader.names
end

-- Returns the register of a request; nil if the file does not name it. If several registers have the same address,
-- prefers one whose access allows the request.
local function findRegister(device, address, allows)
    local registers = names[device] and names[device].registers[address] or {}
    for _, register in ipairs(registers) do
        if allows(register.access) then
            return register
        end
    end
    return registers[1]
end

local function nameOfValue(field, number, usage)
    for _, value in ipairs(field.values) do
        if (value.usage == usage or value.usage == "read-write") and
            both(number, value.mask) == both(value.number, value.mask) then
            return value.name
        end
    end
end

local function fieldText(field, registerValue, usage)
    local number = math.floor(registerValue / 2 ^ field.lsb) % 2 ^ (field.msb - field.lsb + 1)
    local name = nameOfValue(field, number, usage)
    return string.format("%s = 0x%x", field.name, number) .. (name and " (" .. name .. ")" or "")
end

-- Records -------------------------------------------------------------------------------------------------------------

local function isText(text) return not text:find("[%c]") end

-- Returns the bytes of the device name before the NUL, and whether there is a NUL.
local function nameIn(range)
    local text = range:raw()
    local terminator = text:find("\0", 1, true)
    return text:sub(1, (terminator or #text + 1) - 1), terminator ~= nil
end

local function printable(text) return (text:gsub("[^ -~]", "?")) end

local function valuesIn(range, length)
    local values = {}
    for i = 1, math.min(length, capacity) do
        values[i] = range(4 * (i - 1), 4):uint()
    end
    return values
end

local function parseRequest(range)
    local name, isTerminated = nameIn(range(4, 128))
    local length = range(648, 4):uint()
    return {
        kind = "Request", type = range(0, 4):uint(), device = name, isTerminated = isTerminated,
        address = range(132, 4):uint(), length = length, values = valuesIn(range(136, 512), length),
        byteOrder = range(652, 4):uint(), word = range(656, 4):uint()
    }
end

local function parseResponse(range)
    local length = range(516, 4):uint()
    return {kind = "Response", result = range(0, 4):uint(), length = length, values = valuesIn(range(4, 512), length)}
end

local function widthOf(request) return readWidths[request.type] or writeWidths[request.type] end

local function typeText(request) return typeNames[request.type] or "type " .. request.type end

-- Returns the address of the register of the value at a position, counted from 0.
local function addressAt(request, position)
    local device = names[request.device]
    return request.address + position * (device and device.step or 1)
end

local function registerAt(request, position)
    -- The file determines the distance of the addresses in a burst, so the registers of a burst have no names without
    -- the file.
    return findRegister(request.device, addressAt(request, position),
        writeWidths[request.type] and isWritable or isReadable)
end

local function hex(number) return string.format("0x%x", number) end

local function addressText(request)
    local register = registerAt(request, 0)
    return register and register.name .. " (" .. hex(request.address) .. ")" or hex(request.address)
end

local function valuesText(values)
    local texts = {}
    for i, value in ipairs(values) do
        texts[i] = hex(value)
    end
    return #texts <= 4 and table.concat(texts, " ") or table.concat(texts, " ", 1, 4) .. " ..."
end

-- Returns the operation of a request without its values, for example "Read32 rtc0 RTCDR (0x0)".
local function operationText(request)
    local text = typeText(request) .. " " .. (request.device == "" and '""' or printable(request.device))
    return widthOf(request) and text .. " " .. addressText(request) or text
end

local function requestText(request)
    local text = operationText(request)
    if request.type == Ioctl then
        return text .. " " .. hex(request.word) .. " " .. valuesText(request.values)
    elseif readWidths[request.type] then
        return request.length == 1 and text or text .. ", " .. request.length .. " registers"
    elseif writeWidths[request.type] then
        text = text .. " = " .. valuesText(request.values)
        return request.word == 0 and text or text .. " mask " .. hex(request.word)
    end
    return #request.values == 0 and text or text .. " " .. valuesText(request.values)
end

local function resultText(response)
    if response.result == 0 then
        return #response.values == 0 and "success" or valuesText(response.values)
    end
    return response.result == highest and "error" or "result " .. hex(response.result)
end

local function responseText(response)
    local result = resultText(response)
    return response.request and operationText(response.request) .. ": " .. result or result
end

local function interruptText(interrupt)
    local device = interrupt.armed and interrupt.armed.device
    return (device and printable(device) .. " " or "") .. hex(interrupt.word)
end

-- Conversations -------------------------------------------------------------------------------------------------------

-- For each connection: the client, the requests without a response, and the request that has armed the connection.
local connections = {}
-- The records, by the frame number and the offset in the buffer of the frame.
local records = {}
-- The last frame in which the first pass has found a record.
local lastFrame

local function sourceOf(pinfo) return tostring(pinfo.src) .. " " .. pinfo.src_port end

local function destinationOf(pinfo) return tostring(pinfo.dst) .. " " .. pinfo.dst_port end

local function isResult(word) return word == 0 or word == highest end

local function resemblesRequest(tvb)
    local size = tvb:reported_len()
    local hasName = tvb:len() > interruptSize and size ~= responseSize and tvb(4, 1):uint() > 0x20
    return (hasName or (size == requestSize and tvb:len() >= 4)) and tvb(0, 4):uint() <= Debug
end

local function resemblesAnswer(tvb)
    local size = tvb:reported_len()
    return size == interruptSize or (size >= responseSize and tvb:len() >= 4 and isResult(tvb(0, 4):uint()))
end

-- The client sends the first record of a connection, but the capture can begin later. Therefore, the bytes determine
-- the direction if they resemble a record. Otherwise, the port of the server determines it.
local function isFromClient(tvb, pinfo)
    if resemblesRequest(tvb) then
        return true
    end
    return not resemblesAnswer(tvb) and pinfo.match_uint ~= pinfo.src_port
end

-- Returns the same key for both directions of a connection. The stream number distinguishes later connections between
-- the same ends. In its first pass, `tshark -2` has no fields, so the key does not contain the stream number.
local function keyOf(pinfo)
    local ends, stream = {sourceOf(pinfo), destinationOf(pinfo)}, tcpStream()
    table.sort(ends)
    return ends[1] .. " " .. ends[2] .. " " .. (stream and stream.value or "")
end

local function connectionOf(tvb, pinfo)
    local key = keyOf(pinfo)
    connections[key] = connections[key] or {
        waiting = {first = 1, last = 0}, requests = 0, isPartial = {}, isLost = {},
        client = isFromClient(tvb, pinfo) and sourceOf(pinfo) or destinationOf(pinfo)
    }
    local connection = connections[key]
    -- The first bytes can be the middle of a record. The direction is certain after the first request.
    if connection.requests == 0 and resemblesRequest(tvb) then
        connection.client = sourceOf(pinfo)
    end
    return connection
end

-- Bytes that are not a record have the kind "Data". They include the rest of the segment, because the position of the
-- next record is unknown.
local function data(problem)
    return {kind = "Data", expert = experts.malformed, text = "not a record of the protocol", problem = problem}
end

-- The requests that wait for a response are in a queue, because a client can send thousands of requests in advance.
local function waitingCount(connection) return connection.waiting.last - connection.waiting.first + 1 end

-- Removes the first waiting request and returns it; nil if there is none.
local function takeWaiting(connection)
    local waiting = connection.waiting
    local request = waiting[waiting.first]
    if request then
        waiting[waiting.first] = nil
        waiting.first = waiting.first + 1
    end
    return request
end

local function addRequest(connection, request)
    request.isFirst = connection.requests == 0
    request.isEarly = waitingCount(connection) > 0
    connection.requests = connection.requests + 1
    local waiting = connection.waiting
    waiting.last = waiting.last + 1
    waiting[waiting.last] = request
    return request
end

local function addResponse(connection, response, pinfo)
    response.request = takeWaiting(connection)
    if response.request then
        response.request.response = pinfo.number
        local arms = response.request.type == WaitForInterrupt and response.result == 0
        connection.armed = arms and response.request or nil
    end
    return response
end

-- Discards the state that unknown bytes can have changed: whether the connection is armed and, after bytes of the
-- server, which requests wait for a response.
local function forget(connection, isClient)
    connection.armed = nil
    if not isClient then
        connection.waiting = {first = 1, last = 0}
    end
end

-- If segments are missing or arrive in a different order, a segment does not begin with a record. The dissector resumes
-- at the next segment that begins with a record.
local function lost(connection, isClient)
    forget(connection, isClient)
    connection.isLost[isClient] = true
    return {
        kind = "Data", expert = experts.lost, text = "lost synchronization",
        problem = "The dissector has lost synchronization: bytes are missing, or their order differs"
    }
end

local function truncated(connection, isClient)
    forget(connection, isClient)
    return {
        kind = "Data", expert = experts.truncated, text = "truncated by the capture",
        problem = "The capture contains only the beginning of the packet"
    }
end

-- Returns whether a range may begin in the middle of a record: TCP has joined segments, or the segment does not consist
-- of whole records.
local function isDoubtful(connection, isClient, range, size)
    return connection.isPartial[isClient] or range:len() % size ~= 0
end

local function isPlausibleRequest(request, range)
    return request.type <= Debug and request.device ~= "" and isText(request.device) and request.isTerminated and
        request.length <= capacity and request.byteOrder <= 1 and
        not range(4, 128):raw():find("[^\0]", #request.device + 1)
end

local function notARequest(connection)
    return connection.isLost[true] and lost(connection, true) or
        data("The data is not a request (the type of a request is at most 13)")
end

-- Returns a problem as data; nil if the bytes can be the beginning of a request.
local function refuseBeginning(connection, range)
    if range:len() >= 4 and range(0, 4):uint() > Debug then
        return notARequest(connection)
    elseif range:len() > 4 and range(4, 1):uint() == 0 then
        return lost(connection, true)
    end
end

-- Returns the next record that the client sends, and its size. Returns nil and the size if the record is incomplete.
local function nextOfClient(connection, range)
    if range:len() < requestSize then
        local problem = refuseBeginning(connection, range)
        connection.isPartial[true] = not problem
        return problem, problem and range:len() or requestSize
    end
    local request = parseRequest(range)
    if isDoubtful(connection, true, range, requestSize) and not isPlausibleRequest(request, range) then
        local isForeign = connection.requests == 0 and request.type > Debug and not connection.isPartial[true]
        connection.isPartial[true] = false
        return isForeign and notARequest(connection) or lost(connection, true), range:len()
    end
    connection.isPartial[true], connection.isLost[true] = false, false
    return addRequest(connection, request), requestSize
end

-- Returns whether the bytes can be the beginning of a response.
local function resemblesResponse(range)
    return range:len() > interruptSize and isResult(range(0, 4):uint())
end

-- Returns the length of a successful response to a request, in values; nil if the length depends on the server.
local function expectedLength(request)
    return readWidths[request.type] and request.length or
        (writeWidths[request.type] or request.type == WaitForInterrupt) and 0 or nil
end

-- Returns whether a response is plausible, and has the length that its request determines. The request may be nil.
local function fits(response, request)
    local expected = request and response.result == 0 and expectedLength(request) or response.length
    return isResult(response.result) and response.length <= capacity and response.length == expected
end

-- Returns whether the bytes are a response to a request. The unused values must be 0: otherwise, interrupts after a
-- response could look like a part of the response.
local function isResponseTo(request, range)
    local response = parseResponse(range)
    return fits(response, request) and not range(4, 512):raw():find("[^\0]", 4 * response.length + 1)
end

-- After a request on an armed connection, the server can still send interrupts before the response. Their words can
-- equal the result of a response. If one segment contains the interrupts and the response, the length of the segment
-- determines the number of interrupts.
local function hasInterruptBeforeResponse(connection, range)
    local length = range:len() - responseSize
    return waitingCount(connection) == 1 and length > 0 and length % interruptSize == 0 and
        isResponseTo(connection.waiting[connection.waiting.first], range(length))
end

local function expectsInterrupt(connection, range)
    if connection.armed then
        return waitingCount(connection) == 0 or not resemblesResponse(range) or
            hasInterruptBeforeResponse(connection, range)
    end
    return waitingCount(connection) == 0 and range:len() == interruptSize
end

-- Returns the response at the beginning of a range, and its size. Returns nil and the size if the response is
-- incomplete.
local function nextResponse(connection, range, pinfo)
    if range:len() < responseSize then
        if range:len() >= 4 and not isResult(range(0, 4):uint()) then
            return lost(connection, false), range:len()
        end
        connection.isPartial[false] = true
        return nil, responseSize
    end
    local response = parseResponse(range)
    local isWrong = isDoubtful(connection, false, range, responseSize) and
        not fits(response, connection.waiting[connection.waiting.first])
    connection.isPartial[false] = false
    if isWrong then
        return lost(connection, false), range:len()
    end
    connection.isLost[false] = false
    return addResponse(connection, response, pinfo), responseSize
end

-- Returns the next record that the server sends, and its size. Returns nil and the size if the record is incomplete.
local function nextOfServer(connection, range, pinfo)
    local isExpected = connection.armed or waitingCount(connection) > 0
    local isWhole = range:len() == interruptSize or (range:len() >= responseSize and resemblesResponse(range))
    if not isExpected and not isWhole then
        return connection.isLost[false] and lost(connection, false) or
            data("The data is neither a response nor an interrupt"), range:len()
    elseif expectsInterrupt(connection, range) then
        if range:len() < interruptSize then
            return nil, interruptSize
        end
        return {kind = "Interrupt", word = range(0, 4):uint(), armed = connection.armed}, interruptSize
    end
    return nextResponse(connection, range, pinfo)
end

-- Returns whether the captured bytes of a truncated packet contain the next record.
local function containsNext(connection, isClient, range)
    local isInterrupt = not isClient and connection.armed and expectsInterrupt(connection, range)
    return range:len() >= (isClient and requestSize or isInterrupt and interruptSize or responseSize)
end

local function nextRecord(connection, isClient, range, pinfo, isTruncated)
    if isTruncated and not containsNext(connection, isClient, range) then
        return truncated(connection, isClient), range:len()
    end
    return (isClient and nextOfClient or nextOfServer)(connection, range, pinfo)
end

-- Returns the record at the beginning of a range, and its size. Returns nil and the size if the range is too short.
local function recordAt(place, connection, range, pinfo, isTruncated)
    if not records[place] then
        local isClient = sourceOf(pinfo) == connection.client
        local record, size = nextRecord(connection, isClient, range, pinfo, isTruncated)
        if record then
            record.frame, record.time = pinfo.number, pinfo.rel_ts
            record.isFurther = lastFrame == pinfo.number
            lastFrame = pinfo.number
        end
        records[place] = {record = record, size = size}
    end
    return records[place].record, records[place].size
end

-- Trees ---------------------------------------------------------------------------------------------------------------

local function addGenerated(tree, field, value) tree:add(field, value):set_generated() end

local function addMalformed(item, condition, text)
    if condition then
        item:add_proto_expert_info(experts.malformed, text)
    end
end

local function addOdd(item, condition, text)
    if condition then
        item:add_proto_expert_info(experts.odd, text)
    end
end

local function reversed(value, width)
    local result = 0
    for _ = 1, width / 8 do
        result = result * 256 + value % 256
        value = math.floor(value / 256)
    end
    return result
end

-- Adds the fields of the register with a value. For a masked write, adds only the fields that the mask selects.
local function addFields(item, request, register, value)
    local isWrite = writeWidths[request.type]
    if #request.values > 1 or request.length > 1 then
        value = request.byteOrder == 0 and reversed(value, widthOf(request)) or value
    end
    for _, field in ipairs(register.fields) do
        local bits = (2 ^ (field.msb - field.lsb + 1) - 1) * 2 ^ field.lsb
        local isSelected = not isWrite or request.word == 0 or both(request.word, bits) ~= 0
        if isSelected and (isWrite and isWritable or isReadable)(field.access) then
            addGenerated(item, fields.field, fieldText(field, value, isWrite and "write" or "read"))
        end
    end
end

-- Adds the values of a record. The request determines the registers.
local function addValues(tree, range, values, request)
    for i, value in ipairs(values) do
        local item = tree:add(fields.value, range(4 * (i - 1), 4))
        local register = request and widthOf(request) and registerAt(request, i - 1)
        if register then
            item:append_text(" " .. register.name)
            addGenerated(item, fields.register, register.name)
            addFields(item, request, register, value)
        end
        if request and widthOf(request) then
            addOdd(item, value >= 2 ^ widthOf(request), "The value has more than " .. widthOf(request) .. " bits")
        end
    end
end

local function addLength(tree, range, length)
    local item = tree:add(fields.length, range)
    addMalformed(item, length > capacity, "The length is above 128")
    return item
end

local function addWord(tree, range, request)
    if writeWidths[request.type] then
        local item = tree:add(fields.mask, range):append_text(request.word == 0 and " (none)" or "")
        addOdd(item, request.word ~= 0 and request.length ~= 1, "A masked write has one value")
        addOdd(item, request.word >= 2 ^ widthOf(request), "The mask has more than " .. widthOf(request) .. " bits")
    elseif request.type == Ioctl then
        tree:add(fields.command, range)
    end
end

local function addDevice(tree, range, request)
    local item = tree:add(fields.device, range, printable(request.device))
    addMalformed(item, not request.isTerminated, "The device name has no terminating NUL")
    addMalformed(item, not isText(request.device), "The device name contains a control character")
    addOdd(item, request.type == Open and request.device == "", "The device name is empty")
end

local function addAddress(tree, range, request)
    if widthOf(request) then
        tree:add(fields.address, range)
        local register = registerAt(request, 0)
        if register then
            addGenerated(tree, fields.register, register.name)
        end
    end
end

local adders = {}

function adders.Request(tree, range, request, pinfo)
    local item = tree:add(fields.type, range(0, 4))
    addMalformed(item, request.type > Debug, "The type of a request is at most 13")
    if request.isFirst and request.type ~= Open then
        item:add_proto_expert_info(experts.notOpen)
    end
    addDevice(tree, range(4, 128), request)
    addAddress(tree, range(132, 4), request)
    if not readWidths[request.type] then
        addValues(tree, range(136, 512), request.values, request)
    end
    item = addLength(tree, range(648, 4), request.length)
    addOdd(item, readWidths[request.type] and request.length == 0, "The length of a read is at least 1")
    item = tree:add(fields.byteOrder, range(652, 4))
    addMalformed(item, request.byteOrder > 1, "The byte order is neither 0 nor 1")
    addWord(tree, range(656, 4), request)
    if request.response then
        addGenerated(tree, fields.responseIn, request.response)
    elseif pinfo.visited then
        tree:add_proto_expert_info(experts.unanswered)
    end
    if request.isEarly then
        tree:add_proto_expert_info(experts.early)
    end
end

local function nsTime(seconds)
    local nanoseconds = math.floor(seconds * 1e9 + 0.5)
    return NSTime.new(math.floor(nanoseconds / 1e9), nanoseconds % 1e9)
end

local function addRequestOf(tree, response)
    local request = response.request
    if not request then
        tree:add_proto_expert_info(experts.unrequested)
        return
    end
    addGenerated(tree, fields.type, request.type)
    addGenerated(tree, fields.device, printable(request.device))
    if widthOf(request) then
        addGenerated(tree, fields.address, request.address)
    end
    addGenerated(tree, fields.requestIn, request.frame)
    addGenerated(tree, fields.time, nsTime(response.time - request.time))
end

function adders.Response(tree, range, response)
    local item = tree:add(fields.result, range(0, 4))
    if response.result == highest then
        item:add_proto_expert_info(experts.refused)
    end
    addMalformed(item, response.result ~= 0 and response.result ~= highest, "The result is neither 0 nor 0xffffffff")
    addValues(tree, range(4, 512), response.values, response.request)
    item = addLength(tree, range(516, 4), response.length)
    local request = response.request
    if request and response.result == 0 then
        local expected = widthOf(request) and expectedLength(request)
        addMalformed(item, expected and expected ~= response.length,
            "The length differs from the number of registers (" .. tostring(expected) .. ")")
    end
    addRequestOf(tree, response)
end

function adders.Interrupt(tree, range, interrupt)
    tree:add(fields.interrupt, range(0, 4))
    if interrupt.armed then
        addGenerated(tree, fields.device, printable(interrupt.armed.device))
        addGenerated(tree, fields.armedIn, interrupt.armed.response)
    else
        tree:add_proto_expert_info(experts.unrequested)
    end
end

function adders.Data(tree, range, record)
    tree:add(fields.data, range):add_proto_expert_info(record.expert, record.problem)
end

local texts = {
    Request = requestText, Response = responseText, Interrupt = interruptText,
    Data = function(record) return record.text end
}

local function show(tree, range, record, pinfo)
    local text = record.kind .. ": " .. texts[record.kind](record)
    local subtree = tree:add(rynvel, range):set_text("Register Protocol, " .. text)
    addGenerated(subtree, fields.record, record.kind)
    adders[record.kind](subtree, range, record, pinfo)
    pinfo.cols.info:append((record.isFurther and "; " or "") .. text)
end

-- Registration --------------------------------------------------------------------------------------------------------

function rynvel.dissector(tvb, pinfo, tree)
    pinfo.cols.protocol = "RYNVEL"
    pinfo.cols.info:clear()
    local connection = connectionOf(tvb, pinfo)
    local offset, isTruncated = 0, tvb:reported_len() > tvb:len()
    while offset < tvb:len() do
        local range = tvb(offset)
        -- A frame can contain the end of a reassembled record and further records, in different buffers.
        local place = pinfo.number .. " " .. tvb:offset() + offset
        local record, size = recordAt(place, connection, range, pinfo, isTruncated)
        if not record then
            pinfo.desegment_offset = offset
            pinfo.desegment_len = size - range:len()
            return
        end
        show(tree, range(0, size), record, pinfo)
        offset = offset + size
    end
    pinfo.cols.info:fence()
end

function rynvel.init()
    connections, records, names, lastFrame = {}, {}, {}, nil
    if rynvel.prefs.registers ~= "" then
        readNames(rynvel.prefs.registers)
    end
end

local ports = DissectorTable.get("tcp.port")
local registered = rynvel.prefs.ports

ports:add_for_decode_as(rynvel)
ports:add(registered, rynvel)

function rynvel.prefs_changed()
    if registered ~= rynvel.prefs.ports then
        ports:remove(registered, rynvel)
        registered = rynvel.prefs.ports
        ports:add(registered, rynvel)
    end
end
