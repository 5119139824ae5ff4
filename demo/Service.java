import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;

/** A small service: workers of a pool serve orders with prices from a native library; later two of them lock each other out. */
public class Service {
    static class Order {
        final String item;
        int amount;

        Order(String item, int amount) {
            this.item = item;
            this.amount = amount;
        }
    }

    static native int price(Order order, int each);

    static native void book(Object shelf);

    static native void audit();

    static final Object SHELF = new Object();
    static int served;

    static int serve(Order order, int each) {
        int total = price(order, each);
        synchronized (SHELF) {
            served++;
        }
        return total;
    }

    /* Holds the shelf and wants the ledger, a mutex of the native library; book() takes them the other way round. */
    static void restock() throws InterruptedException {
        synchronized (SHELF) {
            Thread.sleep(300);
            price(new Order("restocked", -1), 1);
        }
    }

    public static void main(String[] arguments) throws Exception {
        System.loadLibrary("ledger");
        ExecutorService pool = Executors.newFixedThreadPool(3);
        String[] items = {"apples", "pears", "plums", "cherries"};
        for (int i = 0; i < 40; i++) {
            Order order = new Order(items[i % items.length], i);
            pool.submit(() -> serve(order, 2)).get();
        }
        System.out.println("served " + served);
        new Thread(() -> book(SHELF), "booker").start();
        Thread restocker = new Thread(() -> {
            try {
                restock();
            } catch (InterruptedException ignored) {
                Thread.currentThread().interrupt();
            }
        }, "restocker");
        restocker.start();
        restocker.join(1500);
        audit();
    }
}
