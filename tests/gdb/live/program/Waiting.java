import java.util.concurrent.CountDownLatch;
import java.util.concurrent.locks.LockSupport;

/** Threads that wait: on a monitor, parked, in native code, asleep. Their names say which. */
class Waiting {
    static void start(int count) throws InterruptedException {
        CountDownLatch begun = new CountDownLatch(count);
        for (int i = 0; i < count; i++) {
            int kind = i % 4;
            Thread thread = new Thread(null, () -> deep(3, kind, begun), NAMES[kind] + "-" + i, 256 << 10);
            thread.setDaemon(true);
            thread.start();
        }
        begun.await();
    }

    static final String[] NAMES = {"waiter", "parker", "natürlich", "睡眠"};

    static void deep(int depth, int kind, CountDownLatch begun) {
        if (depth > 0) {
            deep(depth - 1, kind, begun);
            return;
        }
        begun.countDown();
        switch (kind) {
            case 0:
                forever(new Object());
                break;
            case 1:
                for (;;) {
                    LockSupport.park();
                }
            case 2:
                Descent.sleep();
                break;
            default:
                asleep();
        }
    }

    static void forever(Object lock) {
        synchronized (lock) {
            try {
                for (;;) {
                    lock.wait();
                }
            } catch (InterruptedException end) {
                throw new IllegalStateException(end);
            }
        }
    }

    static void asleep() {
        try {
            Thread.sleep(Long.MAX_VALUE);
        } catch (InterruptedException end) {
            throw new IllegalStateException(end);
        }
    }
}
