/** A shop for a debugger to look at: a clerk serves until the shop is closed, main waits. */
public class Shop {
    interface Priced {
        int price(int each);
    }

    static class Item implements Priced {
        final String name;
        int amount;

        Item(String name, int amount) {
            this.name = name;
            this.amount = amount;
        }

        @Override
        public int price(int each) {
            return amount * each;
        }
    }

    static volatile boolean closed;
    static volatile long served;

    static int serve(Item item, int each) {
        int total = item.price(each);
        served++;
        return total;
    }

    static void clerk() {
        while (!closed) {
            serve(new Item("apples", 3), 2);
            Thread.yield();
        }
    }

    public static void main(String[] arguments) throws InterruptedException {
        Thread clerk = new Thread(Shop::clerk, "clerk");
        clerk.start();
        System.out.println("READY");
        clerk.join(arguments.length == 0 ? 0 : Long.parseLong(arguments[0]));
        closed = true;
        clerk.join();
        System.out.println("closed after serving " + (served > 0));
        System.exit(7);
    }
}
