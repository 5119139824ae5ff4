import java.util.ArrayList;
import java.util.List;

/** Sixteen workers that meet the same breakpoint all the time; one method of theirs never returns. */
public class Pool {
    static class Item {
        final int number;

        Item(int number) {
            this.number = number;
        }

        @Override
        public String toString() {
            return "item " + number;
        }

        int forever() throws InterruptedException {
            synchronized (this) {
                while (number >= 0) wait();
            }
            return number;
        }
    }

    static volatile boolean over;
    static volatile long served;

    static void serve(Item item) throws InterruptedException {
        served++;
        Thread.sleep(1);
    }

    static void work(int number) throws InterruptedException {
        Item item = new Item(number);
        while (!over) serve(item);
    }

    public static void main(String[] arguments) throws InterruptedException {
        List<Thread> workers = new ArrayList<>();
        for (int i = 0; i < 16; i++) {
            int number = i;
            workers.add(new Thread(() -> {
                try {
                    work(number);
                } catch (InterruptedException ignored) {
                    Thread.currentThread().interrupt();
                }
            }, "worker-" + i));
        }
        workers.forEach(Thread::start);
        System.out.println("READY");
        for (Thread worker : workers) worker.join();
        System.out.println("over");
        System.exit(served > 0 ? 7 : 1);
    }
}
