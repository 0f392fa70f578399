#pragma once

#include "focus/SdlAudio.h"

#include <QString>
#include <QTimer>

#include <SDL2/SDL_audio.h>

namespace quillmere {

// Plays the chimes on an output device of their own, so pausing the noise never cuts one
// short. Chimes asked for while one still sounds play after it.
class ChimePlayer final {
public:
    ChimePlayer();
    ~ChimePlayer();
    ChimePlayer(const ChimePlayer&) = delete;
    ChimePlayer& operator=(const ChimePlayer&) = delete;

    // A name that is not a chime, or an output that cannot be opened, plays nothing.
    void play(const QString& name);

    bool isPlaying() const;
    bool hasDevice() const { return m_device != 0; }

private:
    bool openDevice();
    void closeWhenDrained();

    sdl::AudioSubsystem m_audio;
    SDL_AudioDeviceID m_device = 0;
    // Closes the device once its queue has run dry, so an idle chime player wakes nothing.
    QTimer m_drain;
};

} // namespace quillmere
