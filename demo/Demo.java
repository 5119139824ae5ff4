/** A small shop: a clerk thread serves orders, the main thread counts them. */
public class Demo {
    static class Order {
        final String item;
        int amount;

        Order(String item, int amount) {
            this.item = item;
            this.amount = amount;
        }

        int price(int each) {
            if (amount <= 0) throw new IllegalArgumentException("nothing to sell");
            return amount * each;
        }
    }

    static volatile boolean closed;
    static volatile long served;

    static int serve(Order order, int each) {
        int total = 0;
        try {
            total = order.price(each);
        } catch (IllegalArgumentException refused) {
            System.out.println("refused: " + refused.getMessage());
        }
        System.out.println(order.amount + " " + order.item + ": " + total);
        return total;
    }

    static void clerk() {
        serve(new Order("apples", 3), 2);
        serve(new Order("air", 0), 1);
        while (!closed) served++;
    }

    public static void main(String[] arguments) throws InterruptedException {
        Thread clerk = new Thread(Demo::clerk, "clerk");
        clerk.start();
        while (!closed) Thread.sleep(20);
        clerk.join();
        System.out.println("closed");
        System.exit(7);
    }
}
