-- SPDX-License-Identifier: GPL-3.0-or-later
-- Opens the session again, tells what parameters it brings back, and exports its sound.
AudioEngine:set_backend("None (Dummy)", "", "")
local work = os.getenv("ORPHIA_CHECK_WORK")
session = load_session(work .. "/session", "check")
local plugin = session:route_by_name("keys"):nth_plugin(1)
for number = 0, 2 do
	local value = ARDOUR.LuaAPI.get_processor_param(plugin, number)
	print(string.format("parameter %d %.4f", number, value))
end
local export = session:simple_export()
export:set_name("sound")
export:set_folder(work)
export:set_range(0, 96000)
export:set_preset("0b9ac6a2-9c4b-4a0e-8f0c-5d6e4a1b7c33")
print("exported", export:check_outputs() and export:run_export())
-- What a script still holds would be freed after the session.
plugin, export = nil, nil
collectgarbage()
close_session()
quit()
