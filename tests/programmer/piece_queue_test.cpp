#include "host/programmer/piece_queue.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

std::shared_ptr<IXMLDOMNode> Piece() { return CreatePortablePlatform()->CreateDOMDocument(); }

TEST(PieceQueue, HandsPiecesOverInTheirOrder) {
  PieceQueue queue;
  const auto first = Piece();
  const auto second = Piece();
  EXPECT_TRUE(queue.Push(first));
  EXPECT_TRUE(queue.Push(second));
  EXPECT_EQ(queue.Pop(), first);
  EXPECT_EQ(queue.Pop(), second);
}

TEST(PieceQueue, HandsTheEndOver) {
  PieceQueue queue;
  EXPECT_TRUE(queue.Push(nullptr));
  EXPECT_EQ(queue.Pop(), nullptr);
}

TEST(PieceQueue, LetsTheWorkerBeTwoPiecesAhead) {
  PieceQueue queue;
  std::atomic<int> pushed = 0;
  std::thread worker([&] {
    while (queue.Push(Piece())) {
      ++pushed;
    }
  });
  for (int popped = 0; popped < 100; ++popped) {
    EXPECT_NE(queue.Pop(), nullptr);
    EXPECT_LE(pushed, popped + 4) << "two that wait, one that is handed out, one that was pushed";
  }
  queue.Close();
  worker.join();
}

TEST(PieceQueue, TakesNothingOnceItIsClosed) {
  PieceQueue queue;
  queue.Close();
  EXPECT_FALSE(queue.Push(Piece()));
}

TEST(PieceQueue, ReleasesAWorkerThatWaitsForRoom) {
  PieceQueue queue;
  EXPECT_TRUE(queue.Push(Piece()));
  EXPECT_TRUE(queue.Push(Piece()));
  std::atomic<bool> continued = true;
  std::thread worker([&] { continued = queue.Push(Piece()); });
  std::this_thread::sleep_for(std::chrono::milliseconds(10));
  queue.Close();
  worker.join();
  EXPECT_FALSE(continued);
}

TEST(PieceQueue, HandsAPieceOverToAnOwnerThatWaits) {
  PieceQueue queue;
  const auto piece = Piece();
  std::thread worker([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    queue.Push(piece);
  });
  EXPECT_EQ(queue.Pop(), piece);
  worker.join();
}

}  // namespace
}  // namespace quillmark::host
