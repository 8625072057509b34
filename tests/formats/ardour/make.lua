-- SPDX-License-Identifier: GPL-3.0-or-later
-- Makes a session with the effect behind the player of the checks, moves a parameter, and saves. All files go to the
-- folder ORPHIA_CHECK_WORK; ORPHIA_CHECK_FORMAT is LV2, for the light effect, or VST3, for that of ORPHIA_CHECK_UID.
AudioEngine:set_backend("None (Dummy)", "", "")
local work = os.getenv("ORPHIA_CHECK_WORK")
session = create_session(work .. "/session", "check", 48000)
local function channels(kind, count) return ARDOUR.ChanCount(ARDOUR.DataType(kind), count) end
local tracks = session:new_midi_track(channels("midi", 1), channels("audio", 2), false, ARDOUR.PluginInfo(), nil, nil,
	1, "keys", ARDOUR.PresentationInfo.max_order, ARDOUR.TrackMode.Normal, true)
local track = tracks:front()
local isLv2 = os.getenv("ORPHIA_CHECK_FORMAT") == "LV2"
local name = isLv2 and "urn:velmora:orphia-vx-effect-light" or os.getenv("ORPHIA_CHECK_UID")
local plugin = ARDOUR.LuaAPI.new_plugin(session, name, isLv2 and ARDOUR.PluginType.LV2 or ARDOUR.PluginType.VST3, "")
-- The first one of the LV2 is its latency.
local mix = isLv2 and 1 or 0
track:add_processor_by_index(ARDOUR.LuaAPI.new_luaproc(session, "Orphia VX Check Player"), 0, nil, true)
track:add_processor_by_index(plugin, 1, nil, true)
print("set", ARDOUR.LuaAPI.set_processor_param(plugin, mix, 0.75))
session:save_state("")
-- What a script still holds would be freed after the session.
tracks, track, plugin = nil, nil, nil
collectgarbage()
close_session()
quit()
