-- SPDX-License-Identifier: GPL-3.0-or-later
-- Makes a session with the effect behind the player of the checks, moves a parameter where it has such, and saves. All
-- files go to the folder ORPHIA_CHECK_WORK; ORPHIA_CHECK_FORMAT is LV2, with the effect of the address ORPHIA_CHECK_UID,
-- or VST3, with that of this id; ORPHIA_CHECK_MIX is the number of the parameter, if there is one.
AudioEngine:set_backend("None (Dummy)", "", "")
local work = os.getenv("ORPHIA_CHECK_WORK")
session = create_session(work .. "/session", "check", 48000)
local function channels(kind, count) return ARDOUR.ChanCount(ARDOUR.DataType(kind), count) end
local tracks = session:new_midi_track(channels("midi", 1), channels("audio", 2), false, ARDOUR.PluginInfo(), nil, nil,
	1, "keys", ARDOUR.PresentationInfo.max_order, ARDOUR.TrackMode.Normal, true)
local track = tracks:front()
local kind = ARDOUR.PluginType[os.getenv("ORPHIA_CHECK_FORMAT")]
local plugin = ARDOUR.LuaAPI.new_plugin(session, os.getenv("ORPHIA_CHECK_UID"), kind, "")
track:add_processor_by_index(ARDOUR.LuaAPI.new_luaproc(session, "Orphia VX Check Player"), 0, nil, true)
track:add_processor_by_index(plugin, 1, nil, true)
local mix = tonumber(os.getenv("ORPHIA_CHECK_MIX"))
print("set", mix == nil or ARDOUR.LuaAPI.set_processor_param(plugin, mix, 0.75))
session:save_state("")
-- What a script still holds would be freed after the session.
tracks, track, plugin = nil, nil, nil
collectgarbage()
close_session()
quit()
