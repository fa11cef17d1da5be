#include "pianoroll/PianoRollGesture.h"

#include "Studio/Studio.h"

namespace velmo {

namespace {

// How long an audition sounds, in seconds: a new note, and a note passing a pitch.
constexpr double createAudition = 0.25, moveAudition = 0.15;

} // namespace

bool PianoRollGesture::clipGone() const { return studio_.clip(clipID_) == nullptr; }

void PianoRollGesture::press(const std::string& clipID, double x, double y, const PianoRollGeometry::Scale& scale) {
    namespace G = PianoRollGeometry;
    mode_.reset();
    clipID_ = clipID;
    const Clip* clip = studio_.clip(clipID_);
    const auto at = studio_.project().clipLocation(clipID_);
    if (!clip || !at) return;
    trackID_ = studio_.project().tracks[at->track].id;
    base_ = clip->notes;
    if (auto found = G::hit(base_, x, y, scale)) {
        editIndex_ = found->index;
        origin_ = base_[editIndex_];
        soundingPitch_ = origin_.pitch;
        mode_ = found->resize ? Mode::resize : Mode::move;
        return;  // nothing changes until the pointer travels
    }
    const auto start = G::newNoteStart(x, clip->length, scale);
    if (!start) return;
    origin_ = Note{G::pitchAt(y, scale.rowH), *start, lastLength, newVelocity};
    base_.push_back(origin_);
    editIndex_ = base_.size() - 1;
    mode_ = Mode::create;
    studio_.audition(trackID_, {{0, origin_.pitch, newVelocity, createAudition}});
    write();
}

void PianoRollGesture::drag(double dx, double dy, const PianoRollGeometry::Scale& scale) {
    namespace G = PianoRollGeometry;
    if (!mode_) return;
    if (clipGone()) {
        mode_.reset();
        return;
    }
    Note note = origin_;
    if (*mode_ == Mode::move) {
        note = G::moved(origin_, dx, dy, scale);
        // Heard once per pitch it passes, away from where it began.
        if (note.pitch != origin_.pitch && note.pitch != soundingPitch_)
            studio_.audition(trackID_, {{0, note.pitch, origin_.velocity, moveAudition}});
        soundingPitch_ = note.pitch;
    } else {
        note.duration = G::sized(origin_, dx, scale);
    }
    // From the list as the gesture found it: indices stay put although the clip keeps its notes sorted.
    base_.mut(editIndex_) = note;
    write();
}

void PianoRollGesture::end(double dx, double dy, const PianoRollGeometry::Scale& scale) {
    if (!mode_) return;
    if (!clipGone()) {
        if (*mode_ == Mode::move && PianoRollGeometry::isClick(dx, dy)) {
            base_.erase(editIndex_);
            write();
        } else if (*mode_ != Mode::move && editIndex_ < base_.size()) {
            lastLength = PianoRollGeometry::sized(origin_, dx, scale);
        }
    }
    mode_.reset();
}

void PianoRollGesture::write() {
    studio_.editNotes(clipID_, "roll-" + clipID_, [this](NoteList& notes, double) { notes = base_; });
}

} // namespace velmo
