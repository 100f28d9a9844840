// CTitleHistory: the titles of an Internet-radio stream, each with the audio position from which
// it holds (the audio bytes that came before its metadata block). A consumer that reads behind the
// network asks for the title of what it reads now, not of what arrived last. One thread adds,
// any thread asks.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

class CTitleHistory {
public:
    // The title holds from nPosition on; positions come in order. A title added at the position of
    // the one before replaces it, since no byte was read under the earlier one.
    void Add(int64_t nPosition, const std::string& title);
    // The latest title; empty before the first.
    std::string Latest() const;
    // The title that holds at nPosition (empty before the first), and in nToNext the bytes from
    // there to the next title's position, -1 when no later title is known yet.
    std::string At(int64_t nPosition, int64_t& nToNext) const;
    // Forgets the titles that hold only before nPosition, which no reader can reach again.
    void ForgetBefore(int64_t nPosition);

private:
    struct CEntry {
        int64_t nPosition;
        std::string title;
    };

    mutable std::mutex m_Lock;
    std::deque<CEntry> m_Entries;
};
