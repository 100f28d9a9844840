// What the network benchmarks share: the loopback servers of the tests (started for the run unless
// a ports file names running ones) and a file of varied bytes to serve.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>
#include <sys/stat.h>
#include <unistd.h>

namespace zubench {

constexpr size_t kMiB = 1 << 20;

inline std::map<std::string, std::string> ReadPortsFile(const std::string& path)
{
    std::map<std::string, std::string> values;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        const size_t equals = line.find('=');
        if (equals != std::string::npos)
            values[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return values;
}

// The loopback servers of the tests, started for this run unless a ports file names running ones.
class CServers {
public:
    explicit CServers(const std::string& portsFile)
    {
        std::string path = portsFile;
        if (path.empty()) {
            char folder[] = "/tmp/zu-bench-servers-XXXXXX";
            // Open to others: squid started by root runs as an account of its own.
            if (!mkdtemp(folder) || chmod(folder, 0755) != 0)
                return;
            m_Folder = folder;
            const std::string command = "bash '" ZU_SOURCE_DIR "/tests/servers/start.sh' '" + m_Folder + "' >/dev/null";
            if (std::system(command.c_str()) != 0)
                return;
            path = m_Folder + "/ports.env";
        }
        m_Values = ReadPortsFile(path);
    }
    ~CServers()
    {
        if (m_Folder.empty())
            return;
        const std::string command = "bash '" ZU_SOURCE_DIR "/tests/servers/stop.sh' '" + m_Folder + "' >/dev/null; rm -rf '" +
                                    m_Folder + "'";
        std::system(command.c_str());
    }
    CServers(const CServers&) = delete;
    CServers& operator=(const CServers&) = delete;

    std::string Value(const std::string& name) const
    {
        const auto found = m_Values.find(name);
        return found == m_Values.end() ? std::string() : found->second;
    }

private:
    std::string m_Folder;
    std::map<std::string, std::string> m_Values;
};

// Varied bytes, so that nothing on the way can shortcut runs of zeros.
inline bool WriteFile(const std::string& path, size_t nMiB)
{
    std::vector<char> block(kMiB);
    uint32_t state = 12345;
    for (char& c : block) {
        state = state * 1103515245u + 12345u;
        c = static_cast<char>(state >> 24);
    }
    std::ofstream out(path, std::ios::binary);
    for (size_t i = 0; i < nMiB && out; ++i) {
        block[0] = static_cast<char>(i);
        out.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
    return static_cast<bool>(out);
}

}  // namespace zubench
