#pragma once
// The two download commands of the transfer form: "READ" fetches an assignment and has
// it delivered into the import folders of the platforms the user chose; "READMIE" fetches
// MIE data and saves it in the MIE delivery folder. Both end with a message box when
// they fail.

#include "automation/SharedState.h"
#include "delivery/AssignmentDelivery.h"
#include "transfer/AssignmentReads.h"

#include <functional>

namespace tarnaxe {

class Clock;
class LocalSettings;
class TransferView;
class Ui;
class clsComm;

class AssignmentDownload : public DeliverySource {
public:
    // Edits the format selection; false or an empty selection when the user cancelled.
    using FormatChooser = std::function<bool(QString& selection)>;

    // request is copied: the download reads the assignment it was started for.
    AssignmentDownload(const TransferRequest& request, SharedState& state,
                       const LocalSettings& settings, Ui& ui, TransferView& view, clsComm& http,
                       Clock& clock, FormatChooser chooseFormats);

    bool ReadAssignment(); // "READ"
    bool ReadMie();        // "READMIE"

    // Mitchell base names come from this; tests make them predictable.
    void setRandomFraction(std::function<double()> randomFraction)
    {
        m_randomFraction = std::move(randomFraction);
    }

    // DeliverySource
    bool readPiece(const QString& pieceName, QByteArray& data, QString& error) override;
    bool readBasename(QString& message, QString& basename) override;
    void setProgress(int percent) override;
    bool cancelRequested() override;

private:
    // A refusal of a request that cannot be sent, with its box; false when it was shown.
    bool requestCanBeSent();

    const TransferRequest m_request;
    SharedState& m_state;
    const LocalSettings& m_settings;
    Ui& m_ui;
    TransferView& m_view;
    Clock& m_clock;
    FormatChooser m_chooseFormats;
    AssignmentReads m_reads;
    std::function<double()> m_randomFraction;
};

} // namespace tarnaxe
