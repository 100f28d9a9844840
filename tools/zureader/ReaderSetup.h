// What cat and info do to their reader before and at Open: the options, the time-out and the request
// body given on the command line, and one clear line when the source will not open.
#pragma once

#include "CommandLine.h"
#include "Commands.h"
#include "ReaderPtr.h"

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zucli {

// Why a source did not open: the exit status that tells the kind, and one line for the user.
struct COpenFailure {
    EExit nStatus = EExit::FAILED;
    std::string message;
};

class CReaderSetup {
public:
    // A command's arguments with its own value options and switches, and the ones this class reads.
    static CCommandLine CommandLine(const std::vector<std::u16string>& arguments,
                                    std::set<std::u16string> valueOptions, std::set<std::u16string> switches = {});

    // PrepareCommand for a command on one location (named by pszWord in messages), whose help
    // gains the setup's options, then the setup's options themselves. False when the command is
    // done already (help, or an error reported), with its exit status in nStatus.
    bool Prepare(const CCommandLine& line, const char* pszCommand, const char* pszHelp, int& nStatus,
                 const char* pszWord = "LOCATION");
    // The same for a command of nPositional words, which pszWords names in messages ("a SOURCE and
    // a PATH").
    bool Prepare(const CCommandLine& line, const char* pszCommand, const char* pszHelp, int& nStatus,
                 size_t nPositional, const char* pszWords);

    // Wraps the configured source in decorating readers before it opens; returns the outermost
    // reader, which owns the source, or null when one cannot be made.
    using CDecorate = std::function<CReaderPtr(CReaderPtr pSource)>;

    // Makes the reader for location, configures it, lets decorate wrap it and opens the result. On
    // failure the reader is null and failure holds what went wrong (an Internet reader's status
    // code and text). The request body lives in this object: it must outlive the reader.
    CReaderPtr Open(const std::u16string& location, COpenFailure& failure, const CDecorate& decorate = nullptr) const;

    // Makes Open read a URL through the buffered Internet reader, which can seek anywhere in it.
    void SetSeekable(bool bSeekable) { m_bSeekable = bSeekable; }

    // False when the request asks for no body (HEAD), whatever length the answer announces.
    bool ExpectsBody() const;

private:
    // tcp:// and udp:// locations, which only the command line knows.
    CReaderPtr OpenSocket(const std::u16string& location, COpenFailure& failure, const CDecorate& decorate) const;
    bool Parse(const CCommandLine& line);
    void Apply(VReader& reader) const;
    const std::u16string* Option(const std::u16string& key) const;

    std::vector<std::pair<std::u16string, std::u16string>> m_Options;
    bool m_bTimeout = false;
    uint32_t m_nTimeout = 0;
    bool m_bData = false;
    bool m_bSeekable = false;
    std::string m_Data;
    std::string m_strError;
};

}  // namespace zucli
