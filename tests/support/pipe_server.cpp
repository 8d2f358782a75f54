#include "tests/support/pipe_server.h"

namespace test_support {

PipeServer::PipeServer(const std::wstring& pipeName, DWORD bufferBytes)
    : pipe(CreateNamedPipeW(pipeName.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                            PIPE_TYPE_BYTE | PIPE_READMODE_BYTE, PIPE_UNLIMITED_INSTANCES,
                            bufferBytes, bufferBytes, 0, nullptr)),
      connected(MakeManualResetEvent()),
      transferDone(MakeManualResetEvent()) {
  if (!pipe) ThrowLastError("CreateNamedPipeW");
  Listen();
}

void PipeServer::Listen() {
  isConnected = false;
  connecting = {};
  connecting.hEvent = connected.Get();
  ResetEvent(connected.Get());
  if (ConnectNamedPipe(pipe.Get(), &connecting)) return;
  const DWORD error = GetLastError();
  if (error == ERROR_PIPE_CONNECTED) {
    SetEvent(connected.Get());
  } else if (error != ERROR_IO_PENDING) {
    ThrowLastError("ConnectNamedPipe");
  }
}

bool PipeServer::Accept(DWORD timeoutMs) {
  if (!isConnected) isConnected = WaitFor(connected.Get(), timeoutMs);
  return isConnected;
}

// An operation that is not done in time is called back, and waited for: the system must not use the
// memory any more.
bool PipeServer::Finish(OVERLAPPED& overlapped, DWORD timeoutMs, DWORD& transferred) const {
  if (!WaitFor(overlapped.hEvent, timeoutMs)) CancelIoEx(pipe.Get(), &overlapped);
  return GetOverlappedResult(pipe.Get(), &overlapped, &transferred, TRUE) != FALSE;
}

bool PipeServer::Write(const std::string& bytes, DWORD timeoutMs) {
  OVERLAPPED overlapped = {};
  overlapped.hEvent = transferDone.Get();
  if (!WriteFile(pipe.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr,
                 &overlapped) &&
      GetLastError() != ERROR_IO_PENDING) {
    return false;
  }
  DWORD written = 0;
  return Finish(overlapped, timeoutMs, written) && written == bytes.size();
}

std::string PipeServer::Read(std::size_t count, DWORD timeoutMs) {
  const ULONGLONG deadline = GetTickCount64() + timeoutMs;
  std::string bytes(count, '\0');
  std::size_t got = 0;
  while (got < count) {
    const ULONGLONG now = GetTickCount64();
    const DWORD left = now >= deadline ? 0 : static_cast<DWORD>(deadline - now);
    OVERLAPPED overlapped = {};
    overlapped.hEvent = transferDone.Get();
    if (!ReadFile(pipe.Get(), bytes.data() + got, static_cast<DWORD>(count - got), nullptr,
                  &overlapped) &&
        GetLastError() != ERROR_IO_PENDING) {
      break;
    }
    DWORD read = 0;
    if (!Finish(overlapped, left, read)) break;
    got += read;
  }
  bytes.resize(got);
  return bytes;
}

std::optional<DWORD> PipeServer::Available() const {
  DWORD available = 0;
  if (!PeekNamedPipe(pipe.Get(), nullptr, 0, nullptr, &available, nullptr)) return std::nullopt;
  return available;
}

void PipeServer::DisconnectAndListen() {
  if (!DisconnectNamedPipe(pipe.Get())) ThrowLastError("DisconnectNamedPipe");
  Listen();
}

void PipeServer::Close() {
  if (!pipe) return;
  if (!Accept(0)) {
    DWORD none = 0;
    CancelIoEx(pipe.Get(), &connecting);
    GetOverlappedResult(pipe.Get(), &connecting, &none, TRUE);
  }
  pipe.Reset();
}

}  // namespace test_support
