import java.util.ArrayList;
import java.util.List;

/** A day's orders: some are refused, and what is kept of each answer is never let go. */
public class Orders {
    static class Refused extends RuntimeException {
        Refused(String why) {
            super(why);
        }
    }

    static class TooMany extends Refused {
        TooMany(int amount) {
            super(amount + " are too many");
        }
    }

    static final List<String> ANSWERS = new ArrayList<>();

    static native void note(Object answer);

    static void check(int amount) {
        if (amount > 25) {
            throw new TooMany(amount);
        }
    }

    static String answer(int amount) {
        try {
            check(amount);
            return "accepted " + amount;
        } catch (Refused why) {
            return "refused";
        }
    }

    static void day(int orders) {
        for (int amount = 0; amount < orders; amount++) {
            String answer = answer(amount);
            ANSWERS.add(answer);
            note(answer);
        }
    }

    public static void main(String[] arguments) {
        System.loadLibrary("ledger");
        day(20);
        day(30);
        System.out.println("the last: " + ANSWERS.get(-1));
    }
}
