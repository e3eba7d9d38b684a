/* An order book: 200,000 orders by price and time, and the same records by their numbers. */
#include <cstdio>
#include <random>
#include <vector>
#include <zoeavl.hpp>

struct Order : zoe::node {
    zoe::node by_number;
    long number = 0, price = 0, time = 0, quantity = 0;
};

int main() {
    zoe::index<Order, &Order::price, &Order::time> book;
    zoe::index_on<&Order::by_number, &Order::number> orders;
    std::vector<Order> all(200000);
    std::mt19937 random(7);
    for (Order &order : all) {
        order.number = order.time = &order - all.data();
        order.price = 9000 + static_cast<long>(random() % 2000);
        order.quantity = 1 + static_cast<long>(random() % 100);
        book.insert(order);
        orders.insert(order);
    }
    std::printf("best price: %ld, first come: order %ld\n", book.front().price,
                book.front().number);

    long quantity = 0;
    for (const Order &order : book.equal_range(9500)) // one price, by time
        quantity += order.quantity;
    std::printf("asked for at 9500: %ld\n", quantity);

    long between = 0;
    for ([[maybe_unused]] const Order &order : book.between(9990, 10010))
        between++;
    std::printf("orders from 9990 to 10009: %ld\n", between);

    Order *const cancelled = orders.extract(4711); // by number, out of both
    std::printf("order 4711 at %ld is in the book: %d\n", cancelled->price, book.erase(*cancelled));

    for (auto place = book.begin(); place != book.end() && place->price < 9100;)
        if (place->quantity < 50) {
            orders.erase(*place);
            place = book.erase(place);
        } else {
            ++place;
        }
    std::printf("left: %zu and %zu\n", book.size(), orders.size());
}
