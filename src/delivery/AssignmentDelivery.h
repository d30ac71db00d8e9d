#pragma once
// Delivering an assignment: the pieces that the chosen platforms need are downloaded into
// the session folder, then each chosen slot's writer copies them under a base name into
// the slot's import folder, where its estimating program picks them up.

#include <QByteArray>
#include <QString>
#include <functional>

namespace tarnaxe {

class LocalSettings;

// What the delivery needs of the running transfer form.
class DeliverySource {
public:
    virtual ~DeliverySource() = default;
    // One stored piece of the current assignment; empty data when it has none.
    virtual bool readPiece(const QString& pieceName, QByteArray& data, QString& error) = 0;
    // The base name the server gives the assignment; message says why not.
    virtual bool readBasename(QString& message, QString& basename) = 0;
    virtual void setProgress(int percent) = 0;
    virtual bool cancelRequested() = 0;
};

class AssignmentDelivery {
public:
    // formatSelection: "Y" or "N" per slot, as the format dialog left it.
    AssignmentDelivery(const LocalSettings& settings, QString formatSelection, QString sessionPath,
                       DeliverySource& source);

    // A fraction in [0, 1) for the Mitchell base names; tests replace it.
    void setRandomFraction(std::function<double()> randomFraction)
    {
        m_randomFraction = std::move(randomFraction);
    }

    bool DeliverAssignment(QString& message);
    bool DownloadPiece(int index, QString& message);
    bool WriteMitchellAssignment(const QString& folder, QString& message);
    bool WriteCCCAssignment(const QString& folder, QString& message);
    bool WriteADPAssignment(const QString& folder, QString& message);
    bool WriteMIEAssignment(const QString& folder, QString& message);

    // The platform name that governs slot (1..5): slot 5 takes slot 6's.
    QString platformOfSlot(int slot) const;

private:
    bool writeNamedSet(const QString& title, const QString& folder, int firstRow, int endRow,
                       QString& message);
    QString sessionFile(int row) const;

    const LocalSettings& m_settings;
    QString m_selection;
    QString m_sessionPath;
    DeliverySource& m_source;
    std::function<double()> m_randomFraction;
};

} // namespace tarnaxe
