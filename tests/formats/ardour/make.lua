-- SPDX-License-Identifier: GPL-3.0-or-later
-- Makes a session with the light effect behind the player of the checks, moves a parameter, and saves.
-- All files go to the folder ORPHIA_CHECK_WORK.
AudioEngine:set_backend("None (Dummy)", "", "")
local work = os.getenv("ORPHIA_CHECK_WORK")
session = create_session(work .. "/session", "check", 48000)
local function channels(kind, count) return ARDOUR.ChanCount(ARDOUR.DataType(kind), count) end
local tracks = session:new_midi_track(channels("midi", 1), channels("audio", 2), false, ARDOUR.PluginInfo(), nil, nil,
	1, "keys", ARDOUR.PresentationInfo.max_order, ARDOUR.TrackMode.Normal, true)
local track = tracks:front()
local plugin = ARDOUR.LuaAPI.new_plugin(session, "urn:velmora:orphia-vx-effect-light", ARDOUR.PluginType.LV2, "")
track:add_processor_by_index(ARDOUR.LuaAPI.new_luaproc(session, "Orphia VX Check Player"), 0, nil, true)
track:add_processor_by_index(plugin, 1, nil, true)
print("set", ARDOUR.LuaAPI.set_processor_param(plugin, 1, 0.75))
session:save_state("")
-- What a script still holds would be freed after the session.
tracks, track, plugin = nil, nil, nil
collectgarbage()
close_session()
quit()
