// SPDX-License-Identifier: GPL-3.0-or-later
// Plays a voice and a song to another client of JACK, and keeps what that makes of them.
#include "host/audio/AudioFileSource.h"
#include "host/audio/AudioFileWriter.h"
#include "host/audio/ResampledSource.h"
#include "host/midi/MidiFile.h"

#include <jack/jack.h>
#include <jack/midiport.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace orphia;

constexpr std::size_t restSeconds = 1;

class JackPlayer {
public:
    JackPlayer(const std::string& voiceFile, const std::string& songFile)
        : client(jack_client_open("player", JackNoStartServer, nullptr)),
          song(host::MidiFile::Read(songFile)) {
        if (client == nullptr) {
            throw std::runtime_error("no JACK server is running");
        }
        rate = jack_get_sample_rate(client);
        const auto source = host::AtRate(std::make_unique<host::AudioFileSource>(voiceFile), rate);
        std::vector<float> piece(8192);
        while (const std::size_t frames = source->Read(piece)) {
            voice.insert(voice.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(2 * frames));
        }
        heard.resize(voice.size() + 2 * restSeconds * rate);
        const auto add = [this](const char* name, const char* type, unsigned long way) {
            return jack_port_register(client, name, type, way, 0);
        };
        out = {add("out_1", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput),
               add("out_2", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput)};
        in = {add("in_1", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput),
              add("in_2", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput)};
        keys = add("keys", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput);
        jack_set_process_callback(
            client,
            [](jack_nframes_t frames, void* player) {
                static_cast<JackPlayer*>(player)->Process(frames);
                return 0;
            },
            this);
        jack_activate(client);
    }
    ~JackPlayer() { jack_client_close(client); }
    JackPlayer(const JackPlayer&) = delete;
    JackPlayer& operator=(const JackPlayer&) = delete;

    /// To the first ports of each kind.
    void Connect(const std::string& other) {
        const auto audioInputs = PortsOf(other, JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput);
        const auto audioOutputs = PortsOf(other, JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput);
        const auto midiInputs = PortsOf(other, JACK_DEFAULT_MIDI_TYPE, JackPortIsInput);
        if (audioInputs.size() < 2 || audioOutputs.size() < 2 || midiInputs.empty()) {
            throw std::runtime_error(other + " lacks ports");
        }
        jack_connect(client, jack_port_name(keys), midiInputs[0].c_str());
        for (std::size_t side = 0; side < 2; ++side) {
            jack_connect(client, jack_port_name(out[side]), audioInputs[side].c_str());
            jack_connect(client, audioOutputs[side].c_str(), jack_port_name(in[side]));
        }
    }

    std::vector<float> Play() {
        isPlaying = true;
        while (isPlaying) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return heard;
    }
    std::uint32_t Rate() const { return rate; }

private:
    std::vector<std::string> PortsOf(const std::string& other, const char* type, unsigned long way) {
        std::vector<std::string> names;
        const char** const ports = jack_get_ports(client, (other + ":.*").c_str(), type, way);
        for (std::size_t n = 0; ports != nullptr && ports[n] != nullptr; ++n) {
            names.emplace_back(ports[n]);
        }
        jack_free(ports);
        return names;
    }

    float* AudioOf(jack_port_t* port, jack_nframes_t frames) {
        return static_cast<float*>(jack_port_get_buffer(port, frames));
    }

    void Process(jack_nframes_t frames) {
        const bool plays = isPlaying;
        void* const messages = jack_port_get_buffer(keys, frames);
        jack_midi_clear_buffer(messages);
        for (std::size_t side = 0; side < 2; ++side) {
            float* const sound = AudioOf(out[side], frames);
            const float* const back = AudioOf(in[side], frames);
            for (std::size_t n = 0; n < frames; ++n) {
                const std::size_t at = 2 * (done + n) + side;
                sound[n] = plays && at < voice.size() ? voice[at] : 0.0F;
                if (plays && at < heard.size()) {
                    heard[at] = back[n];
                }
            }
        }
        if (!plays) {
            return;
        }
        for (; next < song.Events().size(); ++next) {
            const host::MidiEvent& event = song.Events()[next];
            const auto frame = static_cast<std::size_t>(event.seconds * rate + 0.5);
            if (frame >= done + frames) {
                break;
            }
            const std::array<jack_midi_data_t, 3> bytes{event.message.status, event.message.data1,
                                                        event.message.data2};
            jack_midi_event_write(messages, static_cast<jack_nframes_t>(frame - done), bytes.data(),
                                  bytes.size());
        }
        done += frames;
        isPlaying = 2 * done < heard.size();
    }

    jack_client_t* client;
    host::MidiFile song;
    std::uint32_t rate = 0;
    std::vector<float> voice;
    /// Interleaved as the voice is, from its first frame on.
    std::vector<float> heard;
    std::array<jack_port_t*, 2> out{};
    std::array<jack_port_t*, 2> in{};
    jack_port_t* keys = nullptr;
    std::size_t next = 0;
    std::size_t done = 0;
    std::atomic<bool> isPlaying{false};
};

} // namespace

int main(int count, char** arguments) {
    if (count != 5) {
        std::fprintf(stderr, "usage: orphia_jack_player CLIENT VOICE SONG RESULT.wav\n");
        return 2;
    }
    try {
        JackPlayer player(arguments[2], arguments[3]);
        player.Connect(arguments[1]);
        const std::vector<float> heard = player.Play();
        host::AudioFileWriter writer(arguments[4], player.Rate(), host::SampleFormat::Float32);
        writer.Write(heard);
        writer.Finish();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orphia_jack_player: %s\n", error.what());
        return 1;
    }
    return 0;
}
