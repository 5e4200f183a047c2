// Costs of the platform pieces the engine leans on per script, measured the same way on Linux
// and on Windows (under Wine): heap blocks of the engine's usual sizes, thread-local access,
// a throw caught one frame up, text operations, clock and lock calls, a hand-over to another
// thread and back, a flushed write. Prints one line per piece: nanoseconds per operation.
// Built and run on both sides by run_platform_micro.sh (the console writes go to stderr, which
// the script sends to a pipe's end).
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <condition_variable>
#include <thread>
#include <vector>
#ifdef _WIN32
#include <windows.h>
#endif

namespace {

volatile std::size_t g_sink = 0;

template <class F>
void Time(const char* name, long count, F&& f) {
  f(count / 100);  // warm up
  auto start = std::chrono::steady_clock::now();
  f(count);
  double ns = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
  std::fprintf(stdout, "%-44s %9.1f ns\n", name, ns / static_cast<double>(count));
  std::fflush(stdout);
}

thread_local int t_counter = 0;
struct WithDtor {
  int value = 0;
  ~WithDtor() { g_sink = g_sink + 1; }
};
thread_local WithDtor t_with_dtor;

__attribute__((noinline)) int BumpTls() { return ++t_counter; }
__attribute__((noinline)) int BumpTlsDtor() { return ++t_with_dtor.value; }
__attribute__((noinline)) void Thrower(int i) {
  if (i >= 0) throw std::runtime_error("x");
}

}  // namespace

int main(int argc, char** argv) {
  long n = argc > 1 ? std::atol(argv[1]) : 1000000;
  for (std::size_t size : {24u, 48u, 96u, 200u, 1000u}) {
    char name[64];
    std::snprintf(name, sizeof name, "malloc+free %zu", size);
    Time(name, n, [size](long c) {
      for (long i = 0; i < c; ++i) {
        void* p = std::malloc(size);
        g_sink = g_sink + reinterpret_cast<std::size_t>(p);
        std::free(p);
      }
    });
  }
  Time("new+delete 64, 8 live at once", n / 8, [](long c) {
    void* p[8];
    for (long i = 0; i < c; ++i) {
      for (auto& q : p) q = ::operator new(64);
      for (auto& q : p) ::operator delete(q);
    }
  });
  Time("make_shared<std::string>", n, [](long c) {
    for (long i = 0; i < c; ++i) {
      auto p = std::make_shared<std::string>();
      g_sink = g_sink + p->size();
    }
  });
  Time("thread_local int (call)", n * 10, [](long c) {
    for (long i = 0; i < c; ++i) g_sink = g_sink + BumpTls();
  });
  Time("thread_local with dtor (call)", n * 10, [](long c) {
    for (long i = 0; i < c; ++i) g_sink = g_sink + BumpTlsDtor();
  });
  Time("throw+catch one frame up", n / 100, [](long c) {
    for (long i = 0; i < c; ++i) {
      try {
        Thrower(static_cast<int>(i));
      } catch (const std::exception& e) {
        g_sink = g_sink + 1;
      }
    }
  });
  Time("u16string 20 chars copy", n, [](long c) {
    std::u16string s(20, u'a');
    for (long i = 0; i < c; ++i) {
      std::u16string t = s;
      g_sink = g_sink + t.size();
    }
  });
  Time("u16string compare 20 chars", n * 10, [](long c) {
    std::u16string s(20, u'a'), t(20, u'a');
    for (long i = 0; i < c; ++i) g_sink = g_sink + (s == t);
  });
  Time("memcpy 64 bytes", n * 10, [](long c) {
    char a[64] = {}, b[64];
    for (long i = 0; i < c; ++i) {
      std::memcpy(b, a, 64 - (i & 1));
      g_sink = g_sink + b[3];
    }
  });
  Time("std::mutex lock+unlock", n, [](long c) {
    static std::mutex m;
    for (long i = 0; i < c; ++i) {
      std::lock_guard<std::mutex> lock(m);
      g_sink = g_sink + 1;
    }
  });
  Time("steady_clock::now", n, [](long c) {
    for (long i = 0; i < c; ++i)
      g_sink = g_sink + static_cast<std::size_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  });
  Time("system_clock::now", n, [](long c) {
    for (long i = 0; i < c; ++i)
      g_sink = g_sink + static_cast<std::size_t>(std::chrono::system_clock::now().time_since_epoch().count());
  });
#ifdef _WIN32
  Time("GetLocalTime", n, [](long c) {
    SYSTEMTIME st;
    for (long i = 0; i < c; ++i) {
      GetLocalTime(&st);
      g_sink = g_sink + st.wSecond;
    }
  });
  Time("QueryPerformanceCounter", n, [](long c) {
    LARGE_INTEGER li;
    for (long i = 0; i < c; ++i) {
      QueryPerformanceCounter(&li);
      g_sink = g_sink + static_cast<std::size_t>(li.QuadPart);
    }
  });
  Time("EnterCriticalSection+Leave", n, [](long c) {
    CRITICAL_SECTION cs;
    InitializeCriticalSection(&cs);
    for (long i = 0; i < c; ++i) {
      EnterCriticalSection(&cs);
      g_sink = g_sink + 1;
      LeaveCriticalSection(&cs);
    }
    DeleteCriticalSection(&cs);
  });
  Time("TlsGetValue", n * 10, [](long c) {
    DWORD k = TlsAlloc();
    TlsSetValue(k, reinterpret_cast<void*>(std::size_t{1}));
    for (long i = 0; i < c; ++i) g_sink = g_sink + reinterpret_cast<std::size_t>(TlsGetValue(k));
  });
  Time("HeapAlloc+HeapFree 48", n, [](long c) {
    HANDLE h = GetProcessHeap();
    for (long i = 0; i < c; ++i) {
      void* p = HeapAlloc(h, 0, 48);
      g_sink = g_sink + reinterpret_cast<std::size_t>(p);
      HeapFree(h, 0, p);
    }
  });
  Time("SysAllocStringLen+SysFreeString 10", n, [](long c) {
    for (long i = 0; i < c; ++i) {
      BSTR b = SysAllocStringLen(L"abcdefghij", 10);
      g_sink = g_sink + SysStringLen(b);
      SysFreeString(b);
    }
  });
#endif
    // A line handed to another thread and its answer handed back, as qorvintr batch --jobs N
  // does per line: two waits and two wake-ups of std::condition_variable.
  Time("condition_variable ping-pong (round trip)", n / 50, [](long c) {
    std::mutex m;
    std::condition_variable to_worker, to_main;
    long sent = 0, answered = 0;
    bool stop = false;
    std::thread worker([&] {
      std::unique_lock<std::mutex> lock(m);
      for (;;) {
        to_worker.wait(lock, [&] { return stop || sent > answered; });
        if (stop) return;
        ++answered;
        to_main.notify_one();
      }
    });
    for (long i = 0; i < c; ++i) {
      std::unique_lock<std::mutex> lock(m);
      ++sent;
      to_worker.notify_one();
      to_main.wait(lock, [&] { return answered == sent; });
    }
    {
      std::lock_guard<std::mutex> lock(m);
      stop = true;
    }
    to_worker.notify_one();
    worker.join();
  });
#ifdef _WIN32
  Time("SRWLOCK+CONDITION_VARIABLE ping-pong", n / 50, [](long c) {
    SRWLOCK m = SRWLOCK_INIT;
    CONDITION_VARIABLE to_worker = CONDITION_VARIABLE_INIT, to_main = CONDITION_VARIABLE_INIT;
    long sent = 0, answered = 0;
    bool stop = false;
    std::thread worker([&] {
      AcquireSRWLockExclusive(&m);
      for (;;) {
        while (!stop && sent == answered) SleepConditionVariableSRW(&to_worker, &m, INFINITE, 0);
        if (stop) break;
        ++answered;
        WakeConditionVariable(&to_main);
      }
      ReleaseSRWLockExclusive(&m);
    });
    for (long i = 0; i < c; ++i) {
      AcquireSRWLockExclusive(&m);
      ++sent;
      WakeConditionVariable(&to_worker);
      while (answered != sent) SleepConditionVariableSRW(&to_main, &m, INFINITE, 0);
      ReleaseSRWLockExclusive(&m);
    }
    AcquireSRWLockExclusive(&m);
    stop = true;
    ReleaseSRWLockExclusive(&m);
    WakeConditionVariable(&to_worker);
    worker.join();
  });
#endif
  Time("fwrite 20 bytes + fflush (stderr)", n / 20, [](long c) {
    for (long i = 0; i < c; ++i) {
      std::fwrite("Autodf3\tLong\t42.....\n", 1, 20, stderr);
      std::fflush(stderr);
    }
  });
  return 0;
}
