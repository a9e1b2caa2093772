// operator/fw_initiate.cpp - FW_Initiate: who this instance is, its logs, the banner, general attributes.

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "attributes/attributes.h"
#include "convert/unicode.h"
#include "operator/clock.h"
#include "operator/messages.h"
#include "operator/methods.h"

namespace {

constexpr PxStatus kNullHandle = 32;

PxStatus OpenLog(const char *file, PxLog **log)
{
    *log = nullptr;
    PxStatus status =
        Service(SG_opHandle, &PxOperator::PX_Loginit, +OpNameStr, ThisInstance, file, 0, log);
    if (status == PXSTC_Success && *log == nullptr)
        status = kNullHandle;
    if (status == PXSTC_Success)
        return status;
    *log = nullptr;
    ConsoleLine("FATAL_ERROR: PX_Loginit failed, return code = %d", status);
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

// Without a TraceLevel the private log holds the statistics; with NONE there is no private log.
PxStatus OpenPrivateLog()
{
    char name[sizeof PrivateLogName + 16];
    if (PrivateLogName[0] != '\0' && FW_TraceLvl == 0) {
        FW_TraceLvl = 2;
        FW_StatsOnly = 1;
        if (const PxStatus status = FW_StartupMessage<19206>("TraceLevel", "Statistics Only"))
            return status;
    }
    if (FW_TraceLvl <= 1 || PrivateLogName[0] == '\0') {
        FW_TraceLvl = 1;
        return FW_StartupMessage<19009>(ThisInstance);
    }
    snprintf(name, sizeof name, "%s-%d", PrivateLogName, ThisInstance);
    if (const PxStatus status = OpenLog(name, &Private_loghandle))
        return status;
    return FW_StartupMessage<19010>(ThisInstance, static_cast<const char *>(name));
}

[[gnu::format(printf, 1, 2)]] void BannerLine(const char *format, ...)
{
    char line[512];

    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    BoxLine("FW_Initiate", 1, line);
}

void WriteBanner()
{
    constexpr char kUpperName[] = "FENWIRE";
    int64_t now = 0;
    char started[32] = "";
    tm local = {};

    if (FetchCurrentTime(&now) == 0) {
        const time_t when = now;
        if (localtime_r(&when, &local) != nullptr)
            strftime(started, sizeof started, "%a %b %e %H:%M:%S %Y", &local);
    }
    BoxRule("FW_Initiate", 1);
    BannerLine("%s BULK DATA LOADER", kUpperName);
    BannerLine("%s %s %s", kUpperName, "OPERATOR VERSION ", OpVersStr);
    BannerLine("%s UTILITY LIBRARY VERSION %s", kUpperName, OpModuleVers);
    BannerLine("%s", "");
    BannerLine("Operator name: '%s' instance %d of %d%s", JobOpName, ThisInstance, TotalInstances,
               OperatorType == 1 ? " [Producer]" : " [Consumer]");
    BannerLine("Processing starting at: %s", started);
    BoxRule("FW_Initiate", 1);
    BannerLine("Operator module static specifics");
    BannerLine("Operator module name:'%s', version:'%s'", OpModuleName, OpModuleVers);
    BannerLine("pmfwomt_HeaderVersion: '%s' - packing '%s'", OpModuleVers, "natural");
    BannerLine("pmddamt_HeaderVersion: '%s' - packing '%s'", OpModuleVers, "packed");
    BoxRule("FW_Initiate", 1);
}

// A missing library costs nothing here: only a job that needs a conversion fails, where it needs it.
// A log of statistics drops this line, so the library is not even looked for.
void TracePlatform()
{
    constexpr uint16_t kOne = 1;
    uint8_t first = 0;
    memcpy(&first, &kOne, 1);
    FW_TRACE(1, "%s endian platform", first == 1 ? "Little" : "Big");
    if (FW_StatsOnly == 0)
        FW_TRACE(1, "Unicode library version: '%s'", px_nvicuversion());
}

}  // namespace

PxStatus FW_Initiate()
{
    if (const PxStatus status = ReadInstanceAttributes())
        return status;
    if (const PxStatus status = OpenLog(nullptr, &Public_loghandle))
        return status;
    if (const PxStatus status = ReadLogAttributes())
        return status;
    if (const PxStatus status = OpenPrivateLog())
        return status;
    WriteBanner();
    if (const PxStatus status = ReadGeneralAttributes())
        return status;
    TracePlatform();
    return PXSTC_Success;
}
