// Drives the provider modules the way the library does: loads them by their entry points, runs an
// encode or a video conversion, and prints what a checker needs as "key=value" lines. Properties
// are read from a second thread while Encode runs, and the objects are released on another thread
// than the one that made them, as a host may do.
#include <zureader/TextConversion.h>
#include <zureader/TranscodeProvider.h>

#include <dlfcn.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

std::u16string Wide(const std::string& s) {
    return zureader::Utf16FromUtf8(s);
}

double MsSince(Clock::time_point t) {
    return std::chrono::duration<double, std::milli>(Clock::now() - t).count();
}

class Module {
public:
    // Kept mapped after dlclose: the libraries FFmpeg loads keep blocks from their initializers
    // in their globals, which the leak checker reports once they are unmapped; mapped, it sees
    // those roots and names the frames of any leak of ours.
    Module(const std::string& sDir, const char* pszName)
        : m_p(dlopen((sDir + "/" + pszName).c_str(), RTLD_NOW | RTLD_NODELETE)) {
        if (!m_p) std::fprintf(stderr, "dlopen %s: %s\n", pszName, dlerror());
    }
    ~Module() {
        if (m_p) dlclose(m_p);
    }
    template <typename T>
    T Entry(const char* pszName) const {
        return m_p ? reinterpret_cast<T>(dlsym(m_p, pszName)) : nullptr;
    }

private:
    void* m_p;
};

struct EncodeWatch {
    Clock::time_point tStart = Clock::now();
    double dFirstBytesMs = -1;
    double dLongestGapMs = 0;
    Clock::time_point tLast = Clock::now();
    int nCalls = 0;
    bool bCancelOnFirstBytes = false;
};

int32_t OnProgress(int32_t nEvent, int32_t nValue, void* pContext) {
    auto* w = static_cast<EncodeWatch*>(pContext);
    if (nEvent != 0) return 1;
    ++w->nCalls;
    w->dLongestGapMs = std::max(w->dLongestGapMs, MsSince(w->tLast));
    w->tLast = Clock::now();
    if (nValue && w->dFirstBytesMs < 0) {
        w->dFirstBytesMs = MsSince(w->tStart);
        if (w->bCancelOnFirstBytes) return 0;
    }
    return 1;
}

std::string Property(VAudioDecoderEncoder* p, const char* pszName) {
    char16_t sz[512];
    std::u16string sName = Wide(pszName);
    uint32_t n = p->GetProperty(sName.c_str(), sz, 512);
    return n && n < 512 ? zureader::Utf8FromUtf16(sz) : std::string();
}

// encode DIR SOURCE INDEX SETTINGS START_MS OUT [cancel]
int Encode(int argc, char** argv) {
    if (argc < 8) return 2;
    Module encoders(argv[2], "libzuencoders.so");
    Module player(argv[2], "libzuplayer.so");
    auto pfnFactory = encoders.Entry<ZUCreateEncoderEntry>("CreateEncoder");
    auto pfnPlayer = player.Entry<ZUCreateAudioDecoderEncoderEntry>("CreateZUAudioPlayerDecoderDLL");
    if (!pfnFactory || !pfnPlayer) return 3;
    VAudioEncoderFactory* pFactory = pfnFactory(static_cast<uint32_t>(std::atoi(argv[4])));
    if (!pFactory) return 4;
    std::u16string sSettingsName = u"Settings", sSettings = Wide(argv[5]);
    std::printf("settings=%d\n", pFactory->SetProperty(sSettingsName.c_str(), sSettings.c_str()));
    VAudioEncoder* pEncoder = pFactory->CreateEncoder(0);
    VAudioDecoderEncoder* pPlayer = pfnPlayer();
    EncodeWatch watch;
    watch.bCancelOnFirstBytes = argc > 8 && std::strcmp(argv[8], "cancel") == 0;
    std::atomic<bool> bDone{false};
    std::string sSeenName;
    std::thread reader([&] {
        while (!bDone) {
            std::string s = Property(pPlayer, "Output Filename");
            if (!s.empty()) sSeenName = s;
            Property(pPlayer, "Output Duration");
            Property(pPlayer, "Output Bitrate Estimate");
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    std::u16string sSource = Wide(argv[3]), sOut = Wide(argv[7]), sStart = Wide(argv[6]), sEmpty;
    int32_t nResult = pPlayer->Encode(sSource.c_str(), sEmpty.c_str(), sOut.c_str(), 2, OnProgress, &watch, pEncoder,
                                      sEmpty.c_str(), sStart.c_str(), sEmpty.c_str());
    double dTotalMs = MsSince(watch.tStart);
    bDone = true;
    reader.join();
    std::printf("result=%d\nfirst_bytes_ms=%.1f\ntotal_ms=%.1f\nlongest_gap_ms=%.1f\ncalls=%d\n", nResult,
                watch.dFirstBytesMs, dTotalMs, watch.dLongestGapMs, watch.nCalls);
    std::printf("filename=%s\nseen_filename=%s\nduration=%s\nbitrate=%s\nencoder_bitrate=%u\n",
                Property(pPlayer, "Output Filename").c_str(), sSeenName.c_str(),
                Property(pPlayer, "Output Duration").c_str(), Property(pPlayer, "Output Bitrate Estimate").c_str(),
                pEncoder->GetBitrate());
    std::thread([&] {
        pPlayer->Release();
        pEncoder->Release();
        pFactory->Release();
    }).join();
    return 0;
}

// video DIR SOURCE OUT [STOP_AT_BYTES]: with STOP_AT_BYTES, once the output holds that many bytes
// a copy of it as it is then goes to OUT.growing, and the conversion is closed under way.
int Video(int argc, char** argv) {
    if (argc < 5) return 2;
    Module tools(argv[2], "libzutools.so");
    auto pfn = tools.Entry<ZUCreateVideoConverterEntry>("CreateVideoConverterDLL");
    if (!pfn) return 3;
    ZUInterfaceId other = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    ZUInterfaceId id = ZU_IID_VIDEO_CONVERTER;
    std::printf("other_iid=%s\n", pfn(&other) ? "object" : "null");
    VVideoConverter* p = pfn(&id);
    if (!p) return 4;
    std::u16string sSource = Wide(argv[3]), sOut = Wide(argv[4]);
    int32_t nPrepare = -1;
    Clock::time_point tStart = Clock::now();
    ZUBOOL bPrepared = p->Prepare(0, sSource.c_str(), sOut.c_str(), &nPrepare);
    std::printf("prepared=%d\nprepare_result=%d\n", bPrepared, nPrepare);
    if (bPrepared) {
        std::printf("started=%d\n", p->Start());
        std::error_code ec;
        uintmax_t nStopAt = argc > 5 ? std::strtoull(argv[5], nullptr, 10) : UINTMAX_MAX;
        auto fnSize = [&] { return std::filesystem::file_size(argv[4], ec); };
        while (!p->Poll() && fnSize() < nStopAt && MsSince(tStart) < 120000) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        std::printf("ended_by_itself=%d\n", p->Poll());
        if (argc > 5) {
            std::filesystem::copy_file(argv[4], std::string(argv[4]) + ".growing",
                                       std::filesystem::copy_options::overwrite_existing, ec);
        }
        Clock::time_point tClose = Clock::now();
        // Closed and released on another thread than the one that made and started it.
        std::thread([p] { p->Close(); }).join();
        std::printf("close_ms=%.1f\nresult=%d\nended=%d\n", MsSince(tClose), p->GetResult(), p->Poll());
    }
    std::printf("total_ms=%.1f\n", MsSince(tStart));
    std::thread([p] { p->Release(); }).join();
    return 0;
}

// factory DIR INDEX NAME VALUE...: SetProperty answers, one per pair, and whether the index exists.
int Factory(int argc, char** argv) {
    if (argc < 4) return 2;
    Module encoders(argv[2], "libzuencoders.so");
    auto pfn = encoders.Entry<ZUCreateEncoderEntry>("CreateEncoder");
    if (!pfn) return 3;
    VAudioEncoderFactory* pFactory = pfn(static_cast<uint32_t>(std::atoi(argv[3])));
    std::printf("factory=%s\n", pFactory ? "object" : "null");
    if (!pFactory) return 0;
    for (int i = 4; i + 1 < argc; i += 2) {
        std::u16string sName = Wide(argv[i]), sValue = Wide(argv[i + 1]);
        std::printf("set %s=%s -> %d\n", argv[i], argv[i + 1], pFactory->SetProperty(sName.c_str(), sValue.c_str()));
    }
    pFactory->Release();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    std::string sCommand = argv[1];
    int nExit = sCommand == "encode" ? Encode(argc, argv)
                : sCommand == "video" ? Video(argc, argv)
                : sCommand == "factory" ? Factory(argc, argv) : 2;
    std::fflush(stdout);
    return nExit;
}
