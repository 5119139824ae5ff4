import java.lang.reflect.Method;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.locks.LockSupport;

/** Virtual threads, at work and waiting. Compiled for 17, so the newer method is asked for by name. */
class Virtual {
    static volatile long sink;
    static final List<Thread> parked = Collections.synchronizedList(new ArrayList<>());

    static Thread begin(String name, Runnable task) throws Exception {
        Object builder = Thread.class.getMethod("ofVirtual").invoke(null);
        Class<?> type = Class.forName("java.lang.Thread$Builder");
        Method named = type.getMethod("name", String.class);
        return (Thread) type.getMethod("start", Runnable.class).invoke(named.invoke(builder, name), task);
    }

    /** The busy ones come last: they would keep others from ever beginning. */
    static void start() throws Exception {
        CountDownLatch parking = new CountDownLatch(4);
        for (int i = 0; i < 3; i++) {
            begin("virtual-parked-" + i, () -> deep(4, parking));
        }
        executor(parking);
        parking.await();
        for (Thread thread : parked) {
            while (thread.getState() != Thread.State.WAITING) {
                Thread.sleep(5);
            }
        }
        beginAndWait("virtual-pinned", Descent::sleep);
        for (int i = 0; i < 2; i++) {
            beginAndWait("virtual-working-" + i, Virtual::work);
        }
    }

    static void beginAndWait(String name, Runnable task) throws Exception {
        CountDownLatch begun = new CountDownLatch(1);
        begin(name, () -> {
            begun.countDown();
            task.run();
        });
        begun.await();
    }

    static void work() {
        for (;;) {
            sink += Work.fibonacci(15);
            Thread.yield();
        }
    }

    static void executor(CountDownLatch begun) throws Exception {
        var executors = Executors.class.getMethod("newVirtualThreadPerTaskExecutor");
        var executor = (ExecutorService) executors.invoke(null);
        executor.execute(() -> deep(1, begun));
    }

    static void deep(int depth, CountDownLatch begun) {
        if (depth > 0) {
            deep(depth - 1, begun);
            return;
        }
        parked.add(Thread.currentThread());
        begun.countDown();
        for (;;) {
            LockSupport.park();
        }
    }
}
