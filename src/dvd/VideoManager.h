// CVideoManager: a disc's main information file (VIDEO_TS.IFO) with its title sets and titles.
#pragma once

#include "dvd/DVDTitle.h"
#include "dvd/IfoFile.h"
#include "dvd/TitleSet.h"

#include <memory>
#include <vector>

namespace zu::dvd {

class CVideoManager : public CIfoFile {
public:
    explicit CVideoManager(std::u16string path) : CIfoFile(std::move(path)) {}

    // Loads the file, every title set and every title; true when at least one title was made.
    bool Parse();

    const std::vector<std::unique_ptr<CTitleSet>>& TitleSets() const { return m_TitleSets; }
    const std::vector<std::unique_ptr<CDVDTitle>>& Titles() const { return m_Titles; }
    // The folder holding the information files, with its separator.
    std::u16string Folder() const;

private:
    void LoadTitleSets(int nCount);
    void LoadTitles(const SVmgHeader& header);

    std::vector<std::unique_ptr<CTitleSet>> m_TitleSets;
    std::vector<std::unique_ptr<CDVDTitle>> m_Titles;
};

}  // namespace zu::dvd
