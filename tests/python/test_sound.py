# SPDX-License-Identifier: GPL-3.0-or-later
"""What comes out: the command's own sound, and the same each time."""
import pickle
import tempfile
import threading
import unittest
import warnings
from pathlib import Path

import numpy as np
import orphia
from rig import RATE, SONG, VOICE, Case, noise, rendered_by_command


class RenderTest(Case):
    def test_is_what_the_command_renders(self):
        voice, rate = orphia.read(VOICE)
        for preset, options, settings, tail in (
                ("talking-pad", [], {}, None), ("dub-echo-robot", ["--set", "Wet=50 %"], {"Wet": "50 %"}, 1.5),
                ("frozen-vowels", ["--no-limiter", "--seed", "7"], {}, 0), ("classic-robot", [], {"Shift": 0.3}, None),
                ("crushed-radio", [], {}, None), ("crushed-radio", ["--no-limiter"], {}, 0)):
            if settings.get("Shift"):
                options = ["--set", "Shift=0.3"]
            if tail is not None:
                options = [*options, "--tail", str(tail)]
            limiter, seed = "--no-limiter" not in options, 7 if "--seed" in options else 1
            instrument = orphia.Instrument(rate, preset, seed=seed, limiter=limiter)
            for name, value in settings.items():
                instrument[name] = value
            with self.subTest(preset):
                sound = instrument.render(voice, midi=SONG, tail=tail)
                self.assert_same_sound(sound, rendered_by_command(
                    "render", "--voice", VOICE, "--midi", SONG, "--preset", preset, *options))

    def test_moves_as_an_automation_of_the_command(self):
        table = Path(self.enterContext(tempfile.TemporaryDirectory())) / "moves.csv"
        table.write_text("time,parameter,value,move\n0,Wet,0 %\n1,Wet,100 %,linear\n0.5,FX1_ModuleType,delay\n"
                         "1.2,MasterVolume,-20 dB,linear\n")
        voice, rate = orphia.read(VOICE)
        sound = orphia.Instrument(rate, "classic-robot").render(
            voice, midi=SONG, tail=0.3, automation={"Wet": [(0, 0, "jump"), (1, 1)], "FX1_ModuleType": [(0.5, "delay")],
                                                    "MasterVolume": [(1.2, "-20 dB")]})
        self.assert_same_sound(sound, rendered_by_command("render", "--voice", VOICE, "--midi", SONG, "--preset",
                                                          "classic-robot", "--tail", 0.3, "--automation", table))

    def test_is_the_same_whatever_was_played_before(self):
        instrument = orphia.Instrument(RATE, "voice-harmony")
        first = instrument.render(noise(0.5), [(0, 0.4, 50)])
        instrument.note_on(60)
        instrument.process(noise(0.2))
        self.assert_same_sound(first, instrument.render(noise(0.5), [(0, 0.4, 50)]))

    def test_a_pickle_and_a_preset_bring_the_sound_back(self):
        one = orphia.Instrument(RATE, "wide-choir", seed=5)
        one["Wet"], one["FX2_ModuleType"] = 0.7, "phaser"
        sound = one.render(noise(0.5), [(0, 0.4, 50)])
        other = orphia.Instrument(RATE, one.preset, seed=5)
        for again in (pickle.loads(pickle.dumps(one)), other):
            self.assert_same_sound(sound, again.render(noise(0.5), [(0, 0.4, 50)]))

    def test_notes_and_objects_are_songs(self):
        try:
            import mido
        except ImportError:
            self.skipTest("mido is not installed")
        instrument = orphia.Instrument(RATE, "talking-pad")
        song = mido.MidiFile(ticks_per_beat=480)
        track = mido.MidiTrack([mido.Message("note_on", note=48, velocity=127),
                                mido.Message("note_off", note=48, time=480)])
        song.tracks.append(track)
        by_notes = instrument.render(noise(0.7), [(0, 0.5, 48, 1)], tail=0.2)
        self.assert_same_sound(by_notes, instrument.render(noise(0.7), midi=song, tail=0.2))
        with_more = instrument.render(noise(0.7), [(0.1, 0.3, 60)], midi=song, tail=0.2)
        self.assert_same_sound(with_more, instrument.render(noise(0.7), [(0, 0.5, 48, 1), (0.1, 0.3, 60)], tail=0.2))

    def test_an_object_as_of_pretty_midi_is_a_song(self):
        class Song:
            instruments = ()

            def write(self, file):
                file.write(SONG.read_bytes())

        instrument = orphia.Instrument(RATE, "talking-pad")
        self.assert_same_sound(instrument.render(noise(2), midi=Song(), tail=0),
                               instrument.render(noise(2), midi=SONG, tail=0))

    def test_a_key_that_begins_as_it_ends_sounds_on(self):
        instrument = orphia.Instrument(RATE, "talking-pad")
        first, second = (0, 0.5, 40), (0.5, 0.5, 40)
        repeated, backwards, once = (instrument.render(noise(1), notes, tail=0)
                                     for notes in ([first, second], [second, first], [first]))
        self.assert_same_sound(backwards, repeated)
        self.assertGreater(np.abs(repeated - once)[:, 30000:].max(), 0.01)

    def test_an_array_moves_as_its_points(self):
        instrument = orphia.Instrument(RATE, "classic-robot")
        voice, notes = noise(1), [(0, 1, 40)]
        by_array = instrument.render(voice, notes, automation={"Wet": np.array([0, 1, 0.5])}, tail=0)
        self.assert_same_sound(by_array, instrument.render(
            voice, notes, automation={"Wet": [(0, 0), (0.5, 1), (1, 0.5)]}, tail=0))

    def test_a_tail_that_does_not_end_is_told(self):
        instrument = orphia.Instrument(8000, "talking-pad")
        instrument["Release"] = instrument.parameters["Release"].maximum
        for name in ("Carrier_PitchTrack", "SampleHold"):
            instrument[name] = "on"
        with warnings.catch_warnings(record=True) as told:
            warnings.simplefilter("always")
            sound = instrument.render(noise(0.5, rate=8000), [(0, 0.4, 50)])
        self.assertEqual(bool(told), sound.shape[1] == 4000 + 30 * 8000)


class StreamTest(Case):
    def test_any_lengths_give_one_sound(self):
        voice = noise(0.5)
        whole = orphia.Instrument(RATE, "talking-pad")
        pieces = orphia.Instrument(RATE, "talking-pad")
        for instrument in (whole, pieces):
            instrument.note_on(45, 0.9)
        cuts = np.cumsum([0, 1, 43, 44, 45, 0, 1000, 3, 8192])
        parts = [pieces.process(part) for part in np.split(voice, cuts)]
        sound = whole.process(voice)
        self.assert_same_sound(np.concatenate(parts, axis=1), sound)

    def test_is_a_render_that_is_late(self):
        voice = noise(0.5)
        instrument = orphia.Instrument(RATE, "talking-pad")
        rendered = instrument.render(voice, [(0, 10, 45)], tail=0)
        instrument.note_on(45)
        late = instrument.latency
        streamed = instrument.process(np.concatenate([voice, np.zeros(late, np.float32)]))
        self.assert_same_sound(streamed[:, late:], rendered[:, :len(voice)])
        instrument.reset()
        instrument.note_on(45)
        self.assert_same_sound(instrument.process(voice)[:, late:], rendered[:, :len(voice) - late])

    def test_latency_counts_what_is_set_but_not_heard_yet(self):
        instrument = orphia.Instrument(RATE)
        plain = instrument.latency
        for milliseconds in (5, 10):
            instrument.preset = {"FX1_ModuleType": "compressor", "FX1_Compressor_LookaheadEnable": "on",
                                 "FX1_Compressor_LookaheadTimeMs": f"{milliseconds} ms"}
            told = instrument.latency
            self.assertGreater(told, plain)
            self.assertEqual(told, instrument.latency)
            instrument.reset()
            self.assertEqual(told, instrument.latency)
            instrument.process(RATE // 10)
            self.assertEqual(told, instrument.latency)
            plain = told

    def test_meters_show_what_sounds(self):
        instrument = orphia.Instrument(RATE, "clear-speech")
        instrument.process(RATE // 10)
        self.assertLess(instrument.meters.bands.max(), 0.1)
        tone = 0.3 * np.sin(np.arange(RATE) * 2 * np.pi * 1000 / RATE)
        instrument.process(tone)
        loudest = int(instrument.meters.bands.argmax())
        instrument.render(tone / 30, [(0, 1, 40)], tail=0)
        self.assertEqual(instrument.history.levels.shape[0], 16)
        self.assertEqual(int(instrument.history.levels.mean(axis=1).argmax()), loudest)


class VocodeTest(Case):
    def test_is_what_the_command_vocodes(self):
        voice, rate = orphia.read(VOICE)
        carrier, _ = orphia.read(VOICE.with_name("chord.flac"), rate)
        for options, settings in (([], {}), (["--set", "Shift=0.4"], {"Shift": 0.4, "tail": 0.5}),
                                  (["--loop-carrier", "--seed", "3"], {"loop_carrier": True, "seed": 3}),
                                  (["--set", "ProgramLevel=-12 dB", "--no-limiter"],
                                   {"ProgramLevel": "-12 dB", "limiter": False})):
            with self.subTest(options):
                sound = orphia.vocode(voice, carrier, rate, **settings)
                self.assert_same_sound(sound, rendered_by_command(
                    "vocode", VOICE, VOICE.with_name("chord.flac"), "--tail", settings.get("tail", 0), *options))

    def test_layouts_and_types_make_no_difference(self):
        voice, carrier = noise(0.3), noise(0.3, 2)
        plain = orphia.vocode(voice, carrier, RATE)
        self.assertEqual((plain.dtype, plain.shape), (np.float32, voice.shape))
        both = np.stack([voice, voice])
        for other in (voice.astype(np.float64), voice.astype(">f4"), np.repeat(voice, 2)[::2], list(map(float, voice)),
                      voice[np.newaxis], both, both.T.copy().T, np.asfortranarray(both)):
            sound = orphia.vocode(other, carrier, RATE)
            self.assert_same_sound(np.atleast_2d(sound)[0], plain)

    def test_sides_stay_apart(self):
        voice, carrier = noise(0.3), noise(0.3, 2)
        left = np.stack([voice, np.zeros_like(voice)])
        sound = orphia.vocode(left, carrier, RATE)
        self.assertGreater(np.abs(sound[0]).max(), 10 * np.abs(sound[1]).max())


class ThreadTest(Case):
    def test_threads_do_not_disturb_each_other(self):
        shared = orphia.Instrument(RATE, "talking-pad")
        wanted = [shared.render(noise(0.5, seed), [(0, 0.4, 40 + seed)]) for seed in range(3)]
        got = [None] * 6

        def work(number):
            instrument = shared if number < 3 else orphia.Instrument(RATE, "talking-pad")
            got[number] = instrument.render(noise(0.5, number % 3), [(0, 0.4, 40 + number % 3)])

        threads = [threading.Thread(target=work, args=(number,)) for number in range(6)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        for number in range(6):
            self.assert_same_sound(got[number], wanted[number % 3])

    def test_the_interpreter_goes_on_while_sound_is_made(self):
        instrument = orphia.Instrument(RATE, "talking-pad")
        voice = np.tile(noise(1), 60)
        running = threading.Event()
        over = threading.Event()

        def work():
            running.set()
            instrument.render(voice, [(0, 60, 40)], tail=0)
            over.set()

        thread = threading.Thread(target=work)
        thread.start()
        running.wait()
        steps = 0
        while not over.is_set():
            steps += 1
        thread.join()
        # With the lock held it would be one step before the render begins, and one after it.
        self.assertGreater(steps, 1000)


if __name__ == "__main__":
    unittest.main()
