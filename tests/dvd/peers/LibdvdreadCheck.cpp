// Cross-checks the DVD reader with libdvdread on an authored disc: the titles, chapter counts,
// durations and audio languages of our model, and every title's stream against an independent
// extraction: the sectors of the title's chapters (each chapter's entry cell, title sector s read
// from sector s - 1, the first sector where that falls before it) read with libdvdread and passed
// through the keep/drop rules written out again here. Usage: dvd_libdvdread_check DISC_FOLDER
#include <zureader/ZUReader.h>

#include "dvd/DVDRipDescription.h"
#include "dvd/VideoManager.h"
#include "platform/Text.h"

#include <dvdread/dvd_reader.h>
#include <dvdread/ifo_read.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

int g_nPassed = 0;
int g_nFailed = 0;

void Check(bool bOk, const std::string& what)
{
    (bOk ? g_nPassed : g_nFailed)++;
    if (!bOk)
        std::printf("FAILED: %s\n", what.c_str());
}

int Bcd(uint8_t n)
{
    return (n >> 4) * 10 + (n & 15);
}

double Seconds(const dvd_time_t& time)
{
    const double rate = (time.frame_u >> 6) == 3 ? 30.0 : 25.0;
    return Bcd(time.hour) * 3600 + Bcd(time.minute) * 60 + Bcd(time.second) + Bcd(time.frame_u & 0x3F) / rate;
}

// The rules again, from the format: a pack header, stuffing, packets walked by their length; video
// kept, private stream 1 kept for the wanted sub-stream, rewritten to 0x80.
bool Keep(uint8_t* p, int nWantedSubStream)
{
    if (p[0] != 0 || p[1] != 0 || p[2] != 1 || p[3] != 0xBA)
        return false;
    size_t at = 14 + (p[13] & 7);
    while (at + 6 < 2048) {
        const size_t nLength = p[at + 4] * 256 + p[at + 5];
        if (nLength == 0 || nLength == 255 || p[at + 3] == 0xFF)
            return false;
        if (p[at + 3] == 0xE0)
            return true;
        if (p[at + 3] == 0xBD) {
            const size_t nSub = at + 9 + p[at + 8];
            if (at + 9 >= 2048 || nSub >= 2048 || p[nSub] != nWantedSubStream)
                return false;
            p[nSub] = 0x80;
            return true;
        }
        at += nLength;
    }
    return false;
}

struct CIfoClose {
    void operator()(ifo_handle_t* p) const { ifoClose(p); }
};
using CIfo = std::unique_ptr<ifo_handle_t, CIfoClose>;

std::string Extracted(dvd_reader_t* pDvd, const CIfo& vts, int nVts, int nTtn, int nAudio)
{
    std::unique_ptr<dvd_file_t, void (*)(dvd_file_t*)> file(DVDOpenFile(pDvd, nVts, DVD_READ_TITLE_VOBS), DVDCloseFile);
    std::string stream;
    const ttu_t& title = vts->vts_ptt_srpt->title[nTtn - 1];
    for (int k = 0; k < title.nr_of_ptts; ++k) {
        const pgc_t* pPgc = vts->vts_pgcit->pgci_srp[title.ptt[k].pgcn - 1].pgc;
        const cell_playback_t& cell = pPgc->cell_playback[pPgc->program_map[title.ptt[k].pgn - 1] - 1];
        for (uint32_t s = cell.first_sector; s <= cell.last_sector; ++s) {
            unsigned char pack[2048];
            if (DVDReadBlocks(file.get(), s == 0 ? 0 : static_cast<int>(s - 1), 1, pack) != 1)
                return "unreadable";
            if (Keep(pack, 0x80 + nAudio))
                stream.append(reinterpret_cast<char*>(pack), 2048);
        }
    }
    return stream;
}

std::string Ripped(const std::u16string& described, int nTitle, int nAudio)
{
    const std::u16string index = zu::platform::Utf16FromUtf8((nTitle < 10 ? "0" : "") + std::to_string(nTitle));
    const std::u16string text = described + u"SelectedForRip00=0\nSelectedForRip" + index + u"=1\nSelectedAudioStream" +
                                index + (nAudio ? u"=1\n" : u"=0\n");
    std::unique_ptr<VReader> reader(GetDVDReader(reinterpret_cast<const ZUCHAR*>(text.c_str())));
    std::string stream;
    if (!reader->Open())
        return "not opened";
    char buffer[65536];
    while (uint32_t n = reader->Read(buffer, sizeof buffer))
        stream.append(buffer, n);
    return stream;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return 2;
    const std::string folder = std::string(argv[1]) + "/";
    const std::u16string described = [&] {
        const ZUBSTR text = ZUDescribeDVD(reinterpret_cast<const ZUCHAR*>(zu::platform::Utf16FromUtf8(folder).c_str()));
        std::u16string copy(reinterpret_cast<const char16_t*>(text));
        ZUFreeString(text);
        return copy;
    }();
    zu::dvd::CDVDRipDescription description;
    Check(description.Load(described), "our description loads");
    zu::dvd::CVideoManager disc(description.m_MainIfoFilename);
    Check(disc.Parse(), "our model parses");

    std::unique_ptr<dvd_reader_t, void (*)(dvd_reader_t*)> dvd(DVDOpen(folder.c_str()), DVDClose);
    CIfo vmg(ifoOpen(dvd.get(), 0));
    if (!dvd || !vmg) {
        std::printf("libdvdread cannot open %s\n", folder.c_str());
        return 1;
    }
    const tt_srpt_t& titles = *vmg->tt_srpt;
    Check(titles.nr_of_srpts == disc.Titles().size(), "title count");
    for (int t = 0; t < titles.nr_of_srpts && t < static_cast<int>(disc.Titles().size()); ++t) {
        const title_info_t& info = titles.title[t];
        const auto& ours = *disc.Titles()[t];
        const std::string name = "title " + std::to_string(t + 1) + ": ";
        CIfo vts(ifoOpen(dvd.get(), info.title_set_nr));
        Check(ours.TitleSetNumber() == info.title_set_nr && ours.TitleNumber() == info.vts_ttn, name + "title set");
        Check(ours.Chapters().size() == info.nr_of_ptts, name + "chapter count");
        // Our duration counts each chapter's entry cell; where every program is one cell, that is
        // the program chain's whole time.
        const ttu_t& ptts = vts->vts_ptt_srpt->title[info.vts_ttn - 1];
        const pgc_t* pPgc = vts->vts_pgcit->pgci_srp[ptts.ptt[0].pgcn - 1].pgc;
        double dEntryCells = 0;
        for (int k = 0; k < ptts.nr_of_ptts; ++k) {
            const pgc_t* pChain = vts->vts_pgcit->pgci_srp[ptts.ptt[k].pgcn - 1].pgc;
            dEntryCells += Seconds(pChain->cell_playback[pChain->program_map[ptts.ptt[k].pgn - 1] - 1].playback_time);
        }
        const double dOurs = description.GetTitle(t)->nDuration;
        Check(dOurs - dEntryCells < 1.0 && dEntryCells - dOurs < 1.0, name + "duration of the entry cells");
        if (pPgc->nr_of_cells == pPgc->nr_of_programs)
            Check(dOurs - Seconds(pPgc->playback_time) < 1.0 && Seconds(pPgc->playback_time) - dOurs < 1.0,
                  name + "duration of the program chain");
        Check(ours.AudioStreamCount() == vts->vtsi_mat->nr_of_vts_audio_streams, name + "audio stream count");
        for (int a = 0; a < ours.AudioStreamCount(); ++a) {
            const uint16_t nCode = vts->vtsi_mat->vts_audio_attr[a].lang_code;
            const uint8_t* pBlock = disc.TitleSets()[ours.TitleSetNumber() - 1]->Header().audio[a];
            Check(pBlock[2] == (nCode >> 8) && pBlock[3] == (nCode & 0xFF), name + "audio language code");
            Check(ours.GetStreamAttributes(1, a)->GetValue(u"Stream: Language") ==
                      zu::dvd::CStreamAttributes::LanguageName(nCode >> 8, nCode & 0xFF),
                  name + "audio language name");
            const std::string extracted = Extracted(dvd.get(), vts, info.title_set_nr, info.vts_ttn, a);
            Check(extracted.size() > 100 * 2048, name + "extraction holds packs");
            Check(Ripped(described, t, a) == extracted, name + "audio " + std::to_string(a) + " ripped as extracted");
        }
    }
    std::printf("%d passed, %d failed\n", g_nPassed, g_nFailed);
    return g_nFailed == 0 && g_nPassed > 0 ? 0 : 1;
}
