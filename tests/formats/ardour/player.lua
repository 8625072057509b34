-- SPDX-License-Identifier: GPL-3.0-or-later
-- In a session of Ardour: plays keys and a voice by the place on the time line, in front of a plug-in.
ardour { ["type"] = "dsp", name = "Orphia VX Check Player", license = "GPL", author = "Velmora",
         description = "Keys and a voice by the place on the time line" }

function dsp_ioconfig() return { { midi_in = 1, midi_out = 1, audio_in = 0, audio_out = 2 } } end
function dsp_has_midi_output() return true end
function dsp_has_midi_input() return true end

-- Frame, status and what follows.
local keys = { { 4801, 0x90, 48, 100 }, { 9607, 0x90, 55, 90 }, { 30011, 0x80, 48, 0 }, { 40000, 0x80, 55, 0 } }

-- A saw whose pitch falls; its values are exact as 16 bits.
local function voice(frame)
	if frame < 4800 or frame >= 43200 then return 0 end
	local period = 400 + frame // 4800
	return ((frame % period) * 64 // period) / 128 - 0.25
end

function dsp_run(ins, outs, frames)
	local start, count = Session:transport_sample(), 1
	if not Session:transport_rolling() then start = -frames end
	local left, right = outs[1]:array(), outs[2]:array()
	for place = 1, frames do
		local value = voice(start + place - 1)
		left[place], right[place] = value, value
	end
	for _, key in ipairs(keys) do
		if key[1] >= start and key[1] < start + frames then
			midiout[count] = { time = key[1] - start + 1, data = { table.unpack(key, 2) } }
			count = count + 1
		end
	end
end
