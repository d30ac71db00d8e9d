// The interface of IO as the page sees it: the member table in slot order, and the
// dispatch from a slot to the member.

#include "automation/IO.h"

namespace tarnaxe {

namespace {

using K = MemberKind;
using T = ParamType;

ParamInfo p(const char* name, T type = T::Variant, bool byRef = false)
{
    return {QString::fromLatin1(name), type, byRef};
}

MemberInfo m(int slot, const char* name, K kind, QList<ParamInfo> params, const char* result)
{
    return {slot, QString::fromLatin1(name), kind, std::move(params), QString::fromLatin1(result)};
}

QList<MemberInfo> buildTable()
{
    return {
        m(1, "Init", K::Method, {}, ""),
        m(2, "EstimateField", K::Get, {}, "variant"),
        m(3, "CommandStatus", K::Get, {}, "string"),
        m(4, "TheCountOf", K::Get, {p("sOfWhat", T::String)}, "int16"),
        m(5, "TheNameOf", K::Get, {p("sOfWhat", T::String), p("vNo")}, "string"),
        m(6, "TheCaptionOf", K::Get, {p("sOfWhat", T::String), p("vNo")}, "variant"),
        m(7, "TheCaptionOf", K::Put, {p("sOfWhat", T::String), p("vNo"), p("value")}, ""),
        m(8, "Secure", K::Put, {p("value")}, ""),
        m(9, "ChunkFiles", K::Put, {p("value")}, ""),
        m(10, "ScaleFactor", K::Get, {}, "variant"),
        m(11, "ScaleFactor", K::Put, {p("value")}, ""),
        m(12, "ZAP", K::Method, {p("sWhat", T::String)}, ""),
        m(13, "SelectPhotos", K::Method, {}, "string"),
        m(14, "SelectPhotoByVIN", K::Method, {p("sVINMatch", T::String)}, "string"),
        m(15, "SelectWorkfilePhotos", K::Method,
          {p("sEstID", T::String), p("sFileExtension", T::String)}, "string"),
        m(16, "EnablePrintCapture", K::Method, {}, "boolean"),
        m(17, "DeliverAssignment", K::Method, {p("sAssignmentGUID"), p("sRemoteServer")},
          "boolean"),
        m(18, "MoveFilesToServer", K::Method,
          {p("sAssignmentGUID"), p("sWorkerGUID"), p("sWorkerTypeID"), p("sFTPIPAddress")},
          "boolean"),
        m(19, "Get_Estimate_Field", K::Method, {p("vFieldName")}, "boolean"),
        m(20, "SelectFile", K::Method, {}, "boolean"),
        m(21, "ZAPLocalFile", K::Method, {p("sOfWhat", T::String), p("vNo")}, "boolean"),
        m(22, "CleanUpEMS", K::Method, {p("sDate", T::String)}, "boolean"),
        m(23, "SelectEstimate", K::Method, {}, "boolean"),
        m(24, "AutoSelectEstimate", K::Method, {p("vClaim"), p("vVIN")}, "boolean"),
        m(25, "PerformSetup", K::Method, {}, ""),
        m(26, "TempFileLocation", K::Put, {p("value", T::String)}, ""),
        m(27, "CurrentPolicyClaim", K::Put, {p("value", T::String)}, ""),
        m(28, "PDFPrinterName", K::Put, {p("value", T::String)}, ""),
        m(29, "EnableMIE", K::Put, {p("value", T::Boolean)}, ""),
        m(30, "EnableWorkfile", K::Put, {p("value", T::Boolean)}, ""),
        m(31, "MaxKperPDF", K::Put, {p("value", T::Int32)}, ""),
        m(32, "GetBasicEstimateInfo", K::Method,
          {p("vFile", T::Variant, true), p("vVehicle", T::Variant, true),
           p("vClaimNo", T::Variant, true), p("vPolicyNo", T::Variant, true),
           p("vInsured", T::Variant, true), p("vEstimateID", T::Variant, true),
           p("vSuppNo", T::Variant, true), p("vOwner", T::Variant, true)},
          ""),
        m(33, "HasEMSExport", K::Get, {}, "boolean"),
        m(34, "HasEMSImport", K::Get, {}, "boolean"),
        m(35, "HasPhotoPath", K::Get, {}, "boolean"),
        m(36, "Version", K::Get, {}, "string"),
        m(37, "DeliverMIEFile", K::Method, {p("sEstimateGUID"), p("sRemoteServer")}, "boolean"),
        m(38, "ManualSelectEMS", K::Method, {p("vEnvFile")}, "boolean"),
        m(39, "GetFormStatus", K::Method, {p("sFormName", T::String)}, "string"),
        m(40, "LastIOStatusID", K::Get, {}, "string"),
        m(41, "LastIOStatusMessage", K::Get, {}, "string"),
        m(42, "ProcessID", K::Get, {}, "int32"),
        m(43, "CleanUp", K::Method, {}, "boolean"),
        m(44, "EstimatePath", K::Get, {p("iWhichOne", T::Int16)}, "string"),
    };
}

QString text(const Variant& v)
{
    return v.toText();
}

} // namespace

const QList<MemberInfo>& IO::memberTable()
{
    static const QList<MemberInfo> table = buildTable();
    return table;
}

const QList<EventInfo>& IO::eventTable()
{
    static const QList<EventInfo> table = {
        {QStringLiteral("PublishInfo"), {}},
        {QStringLiteral("IOStatus"), {QStringLiteral("sStatus"), QStringLiteral("sMessage")}},
    };
    return table;
}

CallResult IO::invoke(int slot, QList<Variant> a)
{
    // The bridge converts each argument to its declared type; the count is checked here
    // too, so that no caller can index past the arguments.
    if (slot < 1 || slot > memberTable().size())
        throw AutomationError::notSupported();
    if (a.size() != memberTable()[slot - 1].params.size())
        throw AutomationError::wrongArguments();
    switch (slot) {
    case 1:
        Init();
        return {};
    case 2:
        return {EstimateField(), {}};
    case 3:
        return {CommandStatus(), {}};
    case 4:
        return {TheCountOf(text(a[0])), {}};
    case 5:
        return {TheNameOf(text(a[0]), a[1]), {}};
    case 6:
        return {TheCaptionOf(text(a[0]), a[1]), {}};
    case 7:
        setTheCaptionOf(text(a[0]), a[1], a[2]);
        return {};
    case 8:
        setSecure(a[0]);
        return {};
    case 9:
        setChunkFiles(a[0]);
        return {};
    case 10:
        return {ScaleFactor(), {}};
    case 11:
        setScaleFactor(a[0]);
        return {};
    case 12:
        ZAP(text(a[0]));
        return {};
    case 13:
        return {SelectPhotos(), {}};
    case 14:
        return {SelectPhotoByVIN(text(a[0])), {}};
    case 15:
        return {SelectWorkfilePhotos(text(a[0]), text(a[1])), {}};
    case 16:
        return {EnablePrintCapture(), {}};
    case 17:
        return {DeliverAssignment(a[0], a[1]), {}};
    case 18:
        return {MoveFilesToServer(a[0], a[1], a[2], a[3]), {}};
    case 19:
        return {Get_Estimate_Field(a[0]), {}};
    case 20:
        return {SelectFile(), {}};
    case 21:
        return {ZAPLocalFile(text(a[0]), a[1]), {}};
    case 22:
        return {CleanUpEMS(text(a[0])), {}};
    case 23:
        return {SelectEstimate(), {}};
    case 24:
        return {AutoSelectEstimate(a[0], a[1]), {}};
    case 25:
        PerformSetup();
        return {};
    case 26:
        setTempFileLocation(text(a[0]));
        return {};
    case 27:
        setCurrentPolicyClaim(text(a[0]));
        return {};
    case 28:
        setPDFPrinterName(text(a[0]));
        return {};
    case 29:
        setEnableMIE(a[0].toBool());
        return {};
    case 30:
        setEnableWorkfile(a[0].toBool());
        return {};
    case 31:
        setMaxKperPDF(a[0].toInt32());
        return {};
    case 32:
        GetBasicEstimateInfo(a);
        return {Variant(), a};
    case 33:
        return {HasEMSExport(), {}};
    case 34:
        return {HasEMSImport(), {}};
    case 35:
        return {HasPhotoPath(), {}};
    case 36:
        return {Version(), {}};
    case 37:
        return {DeliverMIEFile(a[0], a[1]), {}};
    case 38:
        return {ManualSelectEMS(a[0]), {}};
    case 39:
        return {GetFormStatus(text(a[0])), {}};
    case 40:
        return {LastIOStatusID(), {}};
    case 41:
        return {LastIOStatusMessage(), {}};
    case 42:
        return {ProcessID(), {}};
    case 43:
        return {CleanUp(), {}};
    case 44:
        return {EstimatePath(a[0].toInt16()), {}};
    default:
        throw AutomationError::notSupported();
    }
}

} // namespace tarnaxe
