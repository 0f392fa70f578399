#pragma once

namespace quillmere {

// The desktop's do-not-disturb as the focus aids use it. The platform side lives in desktop/;
// the aids only say when deep work wants quiet and when it is over.
class NotificationSilencer {
public:
    virtual ~NotificationSilencer() = default;

    // Quiet from now on. The first call after a restore() that finds a server notes how the
    // desktop was; later calls change nothing, so a do-not-disturb the user turns off meanwhile
    // stays off.
    virtual void silence() = 0;
    // Puts the desktop back as silence() found it; nothing when silence() changed nothing.
    virtual void restore() = 0;
    // Whether banners are held back right now, by us or by the user.
    virtual bool isSilenced() = 0;
};

} // namespace quillmere
