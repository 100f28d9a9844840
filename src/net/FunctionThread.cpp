#include "net/FunctionThread.h"

#include <utility>

CFunctionThread::CFunctionThread(std::function<int32_t()> body) : m_Body(std::move(body)) {}

// The base destructor would stop the worker only after m_Body is gone.
CFunctionThread::~CFunctionThread()
{
    Stop(-1);
}

int32_t CFunctionThread::Thread()
{
    return m_Body();
}
