#pragma once
// The add-photo operation: each photo becomes "Img<n>.jpg" in the session folder, reduced
// to the width limit when wider, and is appended to "Photos". Several photos are reduced
// at once on the thread pool and appended in the order given, so that attaching a page of
// camera photos takes a fraction of the time one after the other would.

#include "automation/Services.h"

namespace tarnaxe {

class AttachmentLists;
struct SharedState;

class SessionPhotos : public PhotoIntake {
public:
    SessionPhotos(SharedState& state, AttachmentLists& lists);

    QStringList addPhotos(const QList<PhotoToAdd>& photos) override;

private:
    // Names a reduced copy "Img<n>.jpg" with the next free number and appends it; why
    // not, or an empty text.
    QString appendReduced(const QString& reduced, const QString& caption);

    SharedState& m_state;
    AttachmentLists& m_lists;
    int m_adding = 0;
};

} // namespace tarnaxe
