#!/usr/bin/env python3
"""Prints week.csv: a made-up but lifelike week of a house that is neither heated nor cooled.

Outdoor: a daily cosine that is coldest at 05:00, a slow change of weather, and smoothed noise. Indoor: a first-order
response to the outdoor temperature (time constant 9 hours) with gains from the sun and the people inside. Both are
rounded to 0.01 degrees Celsius. The random numbers are seeded, so that the file can be made again.
"""
import datetime
import math
import random

STEP_MINUTES = 5
TIME_CONSTANT_HOURS = 9.0
MEAN_OF_DAY = (13.0, 14.0, 16.5, 19.5, 22.0, 18.0, 14.0)

random.seed(20260504)
start = datetime.datetime(2026, 5, 4)
print('# One week at five minutes of a house without heating or cooling. Not measured: made by make_week.py, a daily')
print('# cosine outdoors and a first-order response indoors, with seeded noise. Times in UTC, temperatures in Celsius.')
print('time,indoor_c,outdoor_c')
indoor, noise = 20.3, 0.0
for step in range(7 * 24 * 60 // STEP_MINUTES):
    moment = start + datetime.timedelta(minutes=step * STEP_MINUTES)
    hour = moment.hour + moment.minute / 60
    days = step * STEP_MINUTES / (24 * 60)
    day = min(int(days), 6)
    following = MEAN_OF_DAY[min(day + 1, 6)]
    mean = MEAN_OF_DAY[day] + (following - MEAN_OF_DAY[day]) * (days - day)
    noise = 0.97 * noise + random.gauss(0, 0.12)
    outdoor = mean - 6.5 * math.cos((hour - 5) / 24 * 2 * math.pi) + noise
    sun = max(0.0, math.sin((hour - 7) / 12 * math.pi)) * 5.5
    people = 2.2 if hour < 8 or hour > 17 else 0.8
    indoor += (outdoor + sun + people - indoor) * (STEP_MINUTES / 60) / TIME_CONSTANT_HOURS
    print(f'{moment:%Y-%m-%dT%H:%M:%SZ},{indoor + random.gauss(0, 0.03):.2f},{outdoor:.2f}')
