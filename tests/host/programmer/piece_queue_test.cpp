// SPDX-License-Identifier: MIT
#include "host/programmer/piece_queue.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

std::shared_ptr<IXMLDOMNode> Popped(PieceQueue& queue) {
  return queue.Pop(std::chrono::minutes(1)).value();
}

std::shared_ptr<IXMLDOMNode> Piece() { return CreatePortablePlatform()->CreateDOMDocument(); }

TEST(PieceQueue, HandsPiecesOverInTheirOrder) {
  PieceQueue queue;
  const auto first = Piece();
  const auto second = Piece();
  EXPECT_TRUE(queue.Push(first));
  EXPECT_TRUE(queue.Push(second));
  EXPECT_EQ(Popped(queue), first);
  EXPECT_EQ(Popped(queue), second);
}

TEST(PieceQueue, HandsTheEndOver) {
  PieceQueue queue;
  EXPECT_TRUE(queue.Push(nullptr));
  EXPECT_EQ(Popped(queue), nullptr);
}

TEST(PieceQueue, HasNothingWhileTheWorkerComputes) {
  PieceQueue queue;
  EXPECT_EQ(queue.Pop(std::chrono::milliseconds(1)), std::nullopt);
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
    EXPECT_NE(Popped(queue), nullptr);
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
  EXPECT_EQ(Popped(queue), piece);
  worker.join();
}

}  // namespace
}  // namespace quillmark::host
