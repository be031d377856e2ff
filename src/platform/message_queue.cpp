#include "platform/message_queue.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>

#include "platform/waited_socket.h"

namespace {

constexpr int kNapMilliseconds = 10;

struct Node {
  MSG message;
  Node* next;
};

struct Queue {
  DWORD thread;
  Node* first;
  Node** end;
  tvl::MessageHandler handler;
  int alarm;    // an eventfd that wakes the owner, or -1 before its first sleep
  bool asleep;  // the owner must be woken
  Queue* next;
};

// Everything here is trivially destructible, because a connection that is closed while the process exits
// still pumps. The queue of the main thread is never freed; the queue of another thread is freed with it.
constinit std::mutex mutex;
constinit Queue* queues = nullptr;
constinit thread_local Queue* own_queue = nullptr;

Node* TakeFirst(Queue& queue) {
  Node* first = queue.first;
  if (first == nullptr) return nullptr;
  queue.first = first->next;
  if (queue.first == nullptr) queue.end = &queue.first;
  return first;
}

void CloseAlarm(Queue& queue) {
  if (queue.alarm >= 0) close(queue.alarm);
  queue.alarm = -1;
  queue.asleep = false;
}

void DestroyQueue(void* queue_of_ended_thread) {
  auto* queue = static_cast<Queue*>(queue_of_ended_thread);
  own_queue = nullptr;  // code of other libraries at the end of this thread may still pump
  const std::lock_guard<std::mutex> guard(mutex);
  for (Queue** link = &queues; *link != nullptr; link = &(*link)->next) {
    if (*link != queue) continue;
    *link = queue->next;
    break;
  }
  while (Node* node = TakeFirst(*queue)) std::free(node);
  CloseAlarm(*queue);
  std::free(queue);
}

void BeforeFork() {
  mutex.lock();
}

void InParent() {
  mutex.unlock();
}

// The child has one thread with a new id, and messages to the parent are not meant for it.
void InChild() {
  for (Queue* queue = queues; queue != nullptr; queue = queue->next) CloseAlarm(*queue);
  queues = own_queue;
  if (own_queue != nullptr) {
    while (Node* node = TakeFirst(*own_queue)) std::free(node);
    own_queue->thread = GetCurrentThreadId();
    own_queue->next = nullptr;
  }
  mutex.unlock();
}

pthread_key_t ThreadEndKey() {
  static const pthread_key_t key = [] {
    pthread_key_t made = 0;
    pthread_key_create(&made, DestroyQueue);
    pthread_atfork(BeforeFork, InParent, InChild);
    return made;
  }();
  return key;
}

Queue* OwnQueue() {
  if (own_queue != nullptr) return own_queue;
  auto* queue = static_cast<Queue*>(std::calloc(1, sizeof(Queue)));
  if (queue == nullptr) return nullptr;
  queue->thread = GetCurrentThreadId();
  queue->end = &queue->first;
  queue->alarm = -1;
  pthread_setspecific(ThreadEndKey(), queue);
  const std::lock_guard<std::mutex> guard(mutex);
  queue->next = queues;
  queues = queue;
  return own_queue = queue;
}

// Marks the owner as asleep. Returns false if a message is already waiting.
bool FallAsleep(Queue& queue) {
  const std::lock_guard<std::mutex> guard(mutex);
  if (queue.first != nullptr) return false;
  if (queue.alarm < 0) queue.alarm = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  queue.asleep = true;
  return true;
}

void Wake(Queue& queue) {
  if (!queue.asleep) return;
  queue.asleep = false;
  if (queue.alarm >= 0) eventfd_write(queue.alarm, 1);
}

void GetUp(Queue& queue) {
  const std::lock_guard<std::mutex> guard(mutex);
  eventfd_t alarms = 0;
  if (!queue.asleep && queue.alarm >= 0) eventfd_read(queue.alarm, &alarms);
  queue.asleep = false;
}

}  // namespace

DWORD GetCurrentThreadId() {
  return static_cast<DWORD>(gettid());
}

BOOL PostThreadMessageA(DWORD thread, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* node = static_cast<Node*>(std::malloc(sizeof(Node)));
  if (node == nullptr) return 0;
  *node = {{message, wParam, lParam}, nullptr};
  const std::lock_guard<std::mutex> guard(mutex);
  for (Queue* queue = queues; queue != nullptr; queue = queue->next) {
    if (queue->thread != thread) continue;
    *queue->end = node;
    queue->end = &node->next;
    Wake(*queue);
    return 1;
  }
  std::free(node);
  return 0;
}

BOOL PeekMessageA(MSG* message, HANDLE /*window*/, UINT /*first*/, UINT /*last*/, UINT /*remove*/) {
  Queue* queue = OwnQueue();
  if (queue == nullptr) return 0;
  Node* node = nullptr;
  {
    const std::lock_guard<std::mutex> guard(mutex);
    node = TakeFirst(*queue);
  }
  if (node == nullptr) return 0;
  *message = node->message;
  std::free(node);
  return 1;
}

void tvl::WaitMessage(int milliseconds) {
  Queue* queue = OwnQueue();
  if (queue != nullptr && !FallAsleep(*queue)) return;
  const int alarm = queue != nullptr ? queue->alarm : -1;
  // Without an eventfd a message would not wake the thread, so it sleeps only briefly.
  if (alarm < 0 && (milliseconds < 0 || milliseconds > kNapMilliseconds)) milliseconds = kNapMilliseconds;
  pollfd waited[] = {{alarm, POLLIN, 0}, WaitedSocket::Poll()};
  if (poll(waited, 2, milliseconds) > 0) WaitedSocket::Remember(waited[1].revents);
  if (queue != nullptr) GetUp(*queue);
}

void tvl::SetMessageHandler(MessageHandler handler) {
  if (Queue* queue = OwnQueue()) queue->handler = handler;
}

void DispatchMessageA(const MSG* message) {
  Queue* queue = OwnQueue();
  if (queue != nullptr && queue->handler != nullptr) queue->handler(*message);
}
