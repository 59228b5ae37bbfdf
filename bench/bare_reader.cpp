// What the harvest of logs costs at least: bench_bare_reader FOLDER [delete] finds, tests, opens,
// reads and deletes the logs of the folder by the program's calls and in pieces of its size, and
// does nothing with them but counting line feeds.
#include <emmintrin.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "platform/Handles.h"
#include "platform/Paths.h"

namespace {

constexpr std::size_t PieceSize = std::size_t{256} * 1024;

/// Counts the line feeds in `size` bytes, rounded up to a multiple of 16.
std::uint64_t CountLineFeeds(const char* bytes, std::size_t size) {
  const __m128i lineFeed = _mm_set1_epi8('\n');
  const __m128i zero = _mm_setzero_si128();
  __m128i total = zero;
  for (const char* const end = bytes + size; bytes < end;) {
    // 255 blocks, because each adds at most 1 to a counter of 8 bits.
    __m128i counts = zero;
    for (const char* const stop = bytes + std::min<std::ptrdiff_t>(end - bytes, 255 * 16);
         bytes < stop; bytes += 16) {
      const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
      counts = _mm_sub_epi8(counts, _mm_cmpeq_epi8(block, lineFeed));
    }
    total = _mm_add_epi64(total, _mm_sad_epu8(counts, zero));
  }
  alignas(16) std::uint64_t sums[2];
  _mm_store_si128(reinterpret_cast<__m128i*>(sums), total);
  return sums[0] + sums[1];
}

CFileHandle Open(const std::wstring& path, DWORD sharing, DWORD flags) {
  return CFileHandle(
      CreateFileW(path.c_str(), GENERIC_READ, sharing, nullptr, OPEN_EXISTING, flags, nullptr));
}

}  // namespace

// Without a console, as the program: Wine starts another process for one.
int WINAPI wWinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, LPWSTR /*arguments*/,
                    int /*show*/) {
  if (__argc < 2) return 2;
  const std::wstring folder = __wargv[1];
  const bool deletes = __argc > 2;
  const auto buffer = std::make_unique<char[]>(PieceSize + 16);
  std::uint64_t lines = 0;
  WIN32_FIND_DATAW entry;
  const CFindHandle search(FindFirstFileW(CombinePath(folder, L"*.log").c_str(), &entry));
  if (!search) return 0;
  do {
    const std::wstring path = CombinePath(folder, entry.cFileName);
    if (!Open(path, FILE_SHARE_READ, 0)) return 3;
    {
      const CFileHandle file =
          Open(path, FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_FLAG_SEQUENTIAL_SCAN);
      DWORD size = 0;
      while (ReadFile(file.Get(), buffer.get(), PieceSize, &size, nullptr) && size > 0) {
        std::fill_n(buffer.get() + size, 16, '\0');
        lines += CountLineFeeds(buffer.get(), size);
      }
    }
    if (deletes && !DeleteFileW(path.c_str())) return 4;
  } while (FindNextFileW(search.Get(), &entry));
  std::puts(std::to_string(lines).c_str());
  return 0;
}
