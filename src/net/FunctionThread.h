// CFunctionThread: a worker whose body is a function its owner supplies, so that a reader can keep
// its worker as a member and run one of its own methods on it.
#pragma once

#include "core/Thread.h"

#include <functional>

class CFunctionThread : public CThread {
public:
    explicit CFunctionThread(std::function<int32_t()> body);
    ~CFunctionThread() override;

protected:
    int32_t Thread() override;

private:
    std::function<int32_t()> m_Body;
};
