import java.util.concurrent.CountDownLatch;
import java.util.concurrent.locks.ReentrantLock;

/** Three circles of two threads each: over two monitors, over two locks, over a monitor and a native mutex. */
public class Deadlock {
    interface Step {
        void run() throws Exception;
    }

    static class Account {
    }

    static class Till {
    }

    static native void lockLedger();

    static native boolean isLedgerWanted();

    static Thread start(String name, Runnable body) {
        Thread thread = new Thread(body, name);
        thread.setDaemon(true);
        thread.start();
        return thread;
    }

    /** Waits for the other thread, which holds its own. */
    static void meet(CountDownLatch latch) {
        latch.countDown();
        try {
            latch.await();
        } catch (InterruptedException end) {
            throw new IllegalStateException(end);
        }
    }

    static void monitors(String name, Object first, Object second, CountDownLatch latch) {
        start(name, () -> {
            synchronized (first) {
                meet(latch);
                synchronized (second) {
                    throw new IllegalStateException();
                }
            }
        });
    }

    static void locks(String name, ReentrantLock first, ReentrantLock second, CountDownLatch latch) {
        start(name, () -> {
            first.lock();
            meet(latch);
            second.lock();
        });
    }

    static void acrossTheBorder() {
        Object vault = new Object();
        CountDownLatch latch = new CountDownLatch(2);
        start("monitor-first", () -> {
            synchronized (vault) {
                meet(latch);
                lockLedger();
            }
        });
        start("mutex-first", () -> {
            lockLedger();
            meet(latch);
            synchronized (vault) {
                throw new IllegalStateException();
            }
        });
    }

    static Thread named(String name) {
        return Thread.getAllStackTraces().keySet().stream().filter(each -> each.getName().equals(name)).findFirst().get();
    }

    static void await(String name, Thread.State state) throws InterruptedException {
        while (named(name).getState() != state) {
            Thread.sleep(5);
        }
    }

    public static void main(String[] arguments) throws Exception {
        System.loadLibrary("mix");
        Account account = new Account();
        Till till = new Till();
        CountDownLatch latch = new CountDownLatch(2);
        monitors("account-first", account, till, latch);
        monitors("till-first", till, account, latch);
        ReentrantLock fair = new ReentrantLock(true), unfair = new ReentrantLock();
        CountDownLatch other = new CountDownLatch(2);
        locks("fair-first", fair, unfair, other);
        locks("unfair-first", unfair, fair, other);
        acrossTheBorder();
        Object quiet = new Till();
        start("holder", () -> {
            synchronized (quiet) {
                for (;;) {
                    try {
                        Thread.sleep(1000);
                    } catch (InterruptedException again) {
                        continue;
                    }
                }
            }
        });
        await("account-first", Thread.State.BLOCKED);
        await("till-first", Thread.State.BLOCKED);
        await("mutex-first", Thread.State.BLOCKED);
        other.await();
        await("fair-first", Thread.State.WAITING);
        await("unfair-first", Thread.State.WAITING);
        await("holder", Thread.State.TIMED_WAITING);
        while (!isLedgerWanted()) {
            Thread.sleep(5);
        }
        System.out.println("READY");
        Object alone = new Account();
        synchronized (alone) {
            alone.wait();
        }
    }
}
